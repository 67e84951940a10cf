#include "InfoCenter.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "TemporaryFolder.h"

namespace {

class InfoCenter : public testing::Test {
  protected:
    ~InfoCenter() override { CInfoCenter::Release(); }

    void Settings(const char* content) { m_folder.Write("conf/conf.xml", content); }
    CAutoString OnDisk(const char* key) {
        CXMLOpt document(m_folder.Read("conf/conf.xml").c_str());
        return document.GetValue(key);
    }

    TemporaryFolder m_folder;
};

}  // namespace

TEST_F(InfoCenter, AValueOfThisRunKeepsWhatItWasGivenFirst) {
    CInfoCenter* store = CInfoCenter::GetInst();
    store->SetValue("k", "a");
    store->SetValue("k", "b");
    EXPECT_EQ("a", store->GetValue("k"));
    store->SetGlobalValue("k", "c");
    store->SetGlobalValue("shared", "d");
    store->SynchroGlobalValue();
    EXPECT_EQ("a", store->GetValue("k"));
    EXPECT_EQ("d", store->GetValue("shared"));
}

TEST_F(InfoCenter, SettingsAreSavedAtOnceAndReadOnce) {
    Settings("<any><ticket>old</ticket><version>1.0</version></any>");
    CInfoCenter* store = CInfoCenter::GetInst();
    EXPECT_EQ("old", store->GetLocalValue("ticket"));
    EXPECT_TRUE(store->SetLocalValue("ticket", "<&>"));
    EXPECT_EQ("<&>", OnDisk("ticket"));
    EXPECT_EQ("1.0", OnDisk("version"));

    Settings("<any><ticket>foreign</ticket></any>");
    EXPECT_EQ("<&>", store->GetLocalValue("ticket"));
    CInfoCenter::Release();
    EXPECT_EQ("foreign", CInfoCenter::GetInst()->GetLocalValue("ticket"));
}

TEST_F(InfoCenter, NothingIsSavedWithoutSettingsThatCanBeRead) {
    EXPECT_FALSE(CInfoCenter::GetInst()->SetLocalValue("ticket", "new"));
    EXPECT_FALSE(m_folder.Has("conf"));
    CInfoCenter::Release();

    Settings("<any><ticket>cut off");
    CInfoCenter::GetInst()->SetLocalValue("ticket", "new");
    EXPECT_EQ("<any><ticket>cut off", m_folder.Read("conf/conf.xml"));
}

// A lookup moves the document's cursors, so even two readers would disturb each other.
TEST_F(InfoCenter, ThreadsReadAndWriteTheSettingsSideBySide) {
    Settings("<any><a>1</a><b><c>2</c></b></any>");
    CInfoCenter* store = CInfoCenter::GetInst();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([store, i] {
            const CAutoString key = "key" + CAutoString(std::to_string(i));
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ("1", store->GetLocalValue("a"));
                EXPECT_EQ("2", store->GetLocalValue("b.c"));
                EXPECT_TRUE(store->SetLocalValue(key, std::to_string(round).c_str()));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const char* key : {"key0", "key1", "key2", "key3"}) {
        EXPECT_EQ("49", OnDisk(key));
    }
}
