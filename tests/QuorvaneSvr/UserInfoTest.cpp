#include "UserInfo.h"

#include <gmock/gmock.h>

#include "InfoCenter.h"
#include "TemporaryFolder.h"
#include "uuid32.h"

namespace {

CAutoString StartAndTell(const char* key) {
    CInfoCenter::Release();
    EXPECT_EQ(CUserInfo().Init(), 1);
    return CInfoCenter::GetInst()->GetValue(key);
}

TEST(UserInfo, FirstStartMakesAnIdThatLaterStartsKeep) {
    TemporaryFolder folder;
    EXPECT_TRUE(is_uuid_string(StartAndTell("clientId"))) << "also without settings";
    folder.Write("conf/conf.xml", "<conf><version>1.2.3</version></conf>");
    const CAutoString id = StartAndTell("clientId");
    EXPECT_TRUE(is_uuid_string(id) && !is_uuid_string("01234567-89ab-cdef-0000-9abc1234567g"));
    EXPECT_THAT(folder.Read("conf/conf.xml"),
                testing::HasSubstr("<clientId>" + id.GetText() + "</clientId>"));
    EXPECT_EQ(StartAndTell("clientId"), id);
    EXPECT_EQ(StartAndTell("version"), "1.2.3");
    EXPECT_FALSE(StartAndTell("hostName").IsEmpty());
    CInfoCenter::Release();
}

}  // namespace
