#include "InfoCenter.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "FileSizeLimit.h"
#include "Log.h"
#include "SettingsMending.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

using testing::HasSubstr;

namespace {

constexpr char kSettings[] = "conf/conf.xml";
constexpr char kAnyBroken[] = "conf/conf.xml.broken-";

// What happens while something is forced to the disk.
std::function<void()> g_duringSync;

class InfoCenter : public testing::Test {
  protected:
    ~InfoCenter() override {
        CInfoCenter::Release();
        g_duringSync = nullptr;
    }

    void Settings(const std::string& content) {
        CInfoCenter::Release();
        m_folder.Write(kSettings, content);
    }
    std::string OnDisk(const char* key) {
        return CXMLOpt(m_folder.Read(kSettings).c_str()).GetValue(key).GetText();
    }
    bool IsAsleep(pid_t thread) {
        return m_folder.Read("/proc/self/task/" + std::to_string(thread) + "/stat").find(") S ") !=
               std::string::npos;
    }
    static std::vector<std::string> Broken() { return CFileUtil::FindFiles(kAnyBroken, "*"); }

    TemporaryFolder m_folder;
};

}  // namespace

// In place of the C library's.
extern "C" int fdatasync(int /*descriptor*/) {
    if (g_duringSync) {
        g_duringSync();
    }
    return 0;
}

TEST_F(InfoCenter, ValuesOfThisRunKeepTheFirstAndSettingsAreSavedAtOnce) {
    Settings("<any><ticket>old</ticket><version>1.0</version></any>");
    CInfoCenter* store = CInfoCenter::GetInst();
    store->SetValue("k", "a");
    store->SetGlobalValue("k", "c");
    for (int i = 0; i < 1000; ++i) {
        store->SetGlobalValue(std::to_string(i).c_str(), "a portal may name what it likes");
    }
    EXPECT_EQ("a", store->GetValue("k") + store->GetValue("999"));
    EXPECT_EQ("old", store->GetLocalValue("ticket"));
    EXPECT_TRUE(store->SetLocalValue("ticket", "<&>"));
    EXPECT_EQ("<&>1.0", OnDisk("ticket") + OnDisk("version"));
    m_folder.Write(kSettings, "<any><ticket>foreign</ticket></any>");
    EXPECT_EQ("<&>", store->GetLocalValue("ticket"));
}

TEST_F(InfoCenter, OnlyWhatAStartOrALoginNeedsIsForcedToTheDiskBeforeItIsInPlace) {
    Settings("<any/>");
    CInfoCenter* store = CInfoCenter::GetInst();
    g_duringSync = [] { ADD_FAILURE() << "a ticket can be had again, and a power cut ends the process"; };
    EXPECT_TRUE(store->SetLocalValue("ticket", "t") && store->SetLocalValue("PID", "1"));
    for (const char* key : {"clientId", "SyncLocalValue"}) {
        const std::string before = m_folder.Read(kSettings);
        bool synced = false;
        g_duringSync = [&] { synced = before == m_folder.Read(kSettings); };
        *key == 'S' ? store->SyncLocalValue() : (void)store->SetLocalValue(key, "1");
        EXPECT_TRUE(synced) << key;
    }
    g_duringSync = [] { ADD_FAILURE() << "the same client id is there already"; };
    EXPECT_TRUE(store->SetLocalValue("clientId", "1"));
}

TEST_F(InfoCenter, BrokenSettingsArePutAsideAndSavingWorksAgain) {
    ASSERT_EQ(CLog::GetInst()->Create("", "log", ""), 0);
    Settings(std::string(4096, '\0'));
    m_folder.Write("conf/.conf.xml.quorvane-save-123456", "left over");
    testing::internal::CaptureStderr();
    CInfoCenter::GetInst()->CompleteStart();
    ASSERT_EQ(1u, Broken().size());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(Broken()[0]));
    EXPECT_THAT(m_folder.Read("log"), HasSubstr(Broken()[0]));
    EXPECT_FALSE(m_folder.Has("conf/.conf.xml.quorvane-save-123456"));
    EXPECT_TRUE(CInfoCenter::GetInst()->SetLocalValue("ticket", "new"));
    EXPECT_EQ("new", OnDisk("ticket"));
}

TEST_F(InfoCenter, TenBrokenSettingsAreKeptAndBecomeTheInstalledOnes) {
    m_folder.Write("installed.xml", "<d><version>1</version></d>");
    for (const char* defaults : {"installed.xml", "missing.xml"}) {
        for (int start = 0; start < 12; ++start) {
            const std::string content = start == 0 ? "" : "<a>" + std::to_string(start);
            m_folder.Write(kSettings, content);
            const std::string report = MendSettings(kSettings, defaults).GetText();
            const size_t name = report.find(kAnyBroken);
            EXPECT_EQ(content, m_folder.Read(report.substr(name, report.find(' ', name) - name)));
            EXPECT_EQ(*defaults == 'i' ? "1" : "", OnDisk("version"));
        }
        EXPECT_EQ(10u, Broken().size());
    }
}

// One failing read at the start cost all settings, the client id among them.
TEST_F(InfoCenter, WholeSettingsAreNotMended) {
    Settings("<any><clientId>kept</clientId></any>");
    EXPECT_TRUE(MendSettings(kSettings, "missing.xml").IsEmpty());
    EXPECT_EQ("kept", OnDisk("clientId"));
}

TEST_F(InfoCenter, WhatCannotBeMendedIsLeftAsItIs) {
    EXPECT_FALSE(CInfoCenter::GetInst()->SetLocalValue("ticket", "new"));
    EXPECT_FALSE(m_folder.Has("conf")) << "settings are shipped, not made";
    Settings("<any><ticket>cut off");
    const FileSizeLimit fullDisk(4);
    EXPECT_FALSE(CInfoCenter::GetInst()->SetLocalValue("ticket", "new"));
    EXPECT_EQ("<any><ticket>cut off", m_folder.Read(kSettings));
    EXPECT_TRUE(CFileUtil::FindFiles("conf/", "?*.*-*").empty() && Broken().empty());
}

// A lookup moves the document's cursors, so even two readers would disturb each other.
TEST_F(InfoCenter, WhoSavesKeepsTheOtherThreadsWaiting) {
    Settings("<any/>");
    CInfoCenter* store = CInfoCenter::GetInst();
    for (const bool saves : {true, false}) {
        std::atomic<pid_t> id{0};
        std::atomic<bool> done{false};
        std::thread other;
        g_duringSync = [&] {
            other = std::thread([&] {
                id = gettid();
                done = saves ? store->SetLocalValue("key", "1") : !store->GetLocalValue("key").IsEmpty();
            });
            EXPECT_TRUE(WaitUntil([&] { return done || IsAsleep(id); }));
            EXPECT_FALSE(done);
        };
        store->SyncLocalValue();
        other.join();
    }
}
