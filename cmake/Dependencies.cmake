# Every package that service and agent need; the tools and tests look for theirs in their own folders.
find_package(Threads REQUIRED)
find_package(CURL REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(PkgConfig REQUIRED)
pkg_check_modules(CJSON REQUIRED IMPORTED_TARGET libcjson)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
find_package(CLI11 REQUIRED)

# Debian ships the LZMA SDK as sources; they are compiled here, nothing of them is kept in the project.
find_path(LZMA_SDK_DIR LzmaDec.c PATHS /usr/include/lzma REQUIRED)
add_library(lzma_sdk_decoder STATIC ${LZMA_SDK_DIR}/LzmaDec.c)
target_include_directories(lzma_sdk_decoder SYSTEM PUBLIC ${LZMA_SDK_DIR})
