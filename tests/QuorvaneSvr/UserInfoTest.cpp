#include "UserInfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "InfoCenter.h"
#include "TemporaryFolder.h"
#include "uuid32.h"

namespace {

using testing::HasSubstr;

// Starts of the service in one installation folder; each reads the settings file anew.
class UserInfo : public testing::Test {
  protected:
    void Start() {
        CInfoCenter::Release();
        EXPECT_EQ(CUserInfo().Init(), 1);
    }

    CAutoString Published(const char* key) { return CInfoCenter::GetInst()->GetValue(key); }

    ~UserInfo() override { CInfoCenter::Release(); }

    TemporaryFolder m_folder;
};

TEST_F(UserInfo, FirstStartMakesAnIdThatLaterStartsKeep) {
    m_folder.Write("conf/conf.xml", "<conf><version>1.2.3</version></conf>");
    Start();
    const CAutoString id = Published("clientId");
    EXPECT_TRUE(is_uuid_string(id)) << id.GetBuffer();
    EXPECT_THAT(m_folder.Read("conf/conf.xml"), HasSubstr("<clientId>" + id.GetText() + "</clientId>"));
    Start();
    EXPECT_EQ(Published("clientId"), id);
    EXPECT_EQ(Published("version"), "1.2.3");
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof(name) - 1), 0);
    EXPECT_EQ(Published("hostName"), name);
}

TEST_F(UserInfo, WithoutSettingsFileThereIsStillAnId) {
    Start();
    EXPECT_TRUE(is_uuid_string(Published("clientId")));
    EXPECT_FALSE(m_folder.Has("conf/conf.xml"));
}

}  // namespace
