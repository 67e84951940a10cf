#pragma once

#include <string>

// Where the installation put what this program reads. The prefix may have been chosen at the installation, so
// all of it is found from where the program itself lies. packaging/CMakeLists.txt installs by the same rules.
class InstalledPlaces {
  public:
    // "/etc/quorvane" below the prefixes /usr and /usr/local, "PREFIX/etc/quorvane" below any other. A build
    // with an absolute CMAKE_INSTALL_SYSCONFDIR has it there whatever the prefix is.
    static std::string ConfigFolder();
    // The settings that a new working folder starts with.
    static std::string DefaultSettings();
};
