#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "NetHelper.h"
#include "Sandbox.h"

// The resolver file of the sandbox, which is a file of its own mounted over the real one.
class ResolverFileTest : public testing::Test {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }

    void FileHolds(const std::string& content) {
        std::ofstream(CNetHelper::kResolverFile, std::ios::binary) << content;
    }
    std::string Content() {
        std::ifstream file(CNetHelper::kResolverFile, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};
