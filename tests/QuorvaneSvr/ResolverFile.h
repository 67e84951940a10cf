#pragma once

#include <gtest/gtest.h>

#include <string>

#include "NetHelper.h"
#include "Sandbox.h"
#include "TemporaryFolder.h"

// The resolver file of the sandbox, which is a file of its own mounted over the real one.
class ResolverFileTest : public testing::Test {
  protected:
    void SetUp() override { SKIP_OUTSIDE_SANDBOX(); }

    void FileHolds(const std::string& content) { folder.Write(CNetHelper::kResolverFile, content); }
    std::string Content() { return folder.Read(CNetHelper::kResolverFile); }

    TemporaryFolder folder;
};
