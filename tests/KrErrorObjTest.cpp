#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::selectedCodes;

namespace
{

// The tests run on the main thread.
const std::string kMainThread = std::to_string(::syscall(SYS_gettid));

// The resource template shipped in krnres.xml, its tokens replaced by hand.
std::string expectedText(unsigned int code, const std::string& message, const std::string& file,
                         int line, const std::string& thread)
{
    return "Error " + std::to_string(code) + ": " + message + "\n  at " + file + ", line " +
           std::to_string(line) + "\n  thread " + thread;
}

// An entry as "thread|code|message|file|line".
std::string entry(const KrErrorObj::ErrorInfo& info)
{
    return std::to_string(info.nThreadID) + "|" + std::to_string(info.nErrorCode) + "|" +
           info.strMessage.Cstr() + "|" + info.strCodeFile.Cstr() + "|" +
           std::to_string(info.nCodeLine);
}
const std::string kNoEntry = "4294967295|0|||-1";

void pushError(int code, const char* message, int line)
{
    KrLogFile::GetInstance(true).RecordLog(KrLogFile::LogError, code, message, "err.cpp", line);
}

// Every test starts with the log open in memory and the error stack empty.
class KrErrorObjTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(log.Open(KrLogFile::ModeMemory)); }

    KrLogTest::LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    KrErrorObj& errors = KrErrorObj::GetInstance();
};

}  // namespace

// An exception records itself at debug level, which is no error: the ring stays empty.
TEST_F(KrErrorObjTest, ExceptionsRingOfTheLatestEntriesAndStartup)
{
    KrLogQueryDef debugOnly;
    debugOnly.m_nMinLevel = debugOnly.m_nMaxLevel = KrLogFile::LogDebug;
    const KrException thrown(30118, "bad block", "zip.cpp", 40);
    EXPECT_EQ(entry(thrown.GetErrorInfo()), "4294967295|30118|bad block|zip.cpp|40");
    KrArray<KrLogItem> items;
    ASSERT_EQ(log.Query(debugOnly, items), 1);
    EXPECT_EQ(std::to_string(items[0].m_nResID) + items[0].m_strCodeFile.Cstr(), "30118zip.cpp");

    KrException copy = thrown;
    log.SetFilterRepeat(0);
    copy.WriteToLog();
    EXPECT_EQ(selectedCodes(log, debugOnly), "30118 30118");

    log.SetLevel(KrLogFile::LogInfo);
    const KrException quiet(30150, "zip.cpp", 41);
    EXPECT_FALSE(quiet.GetErrorInfo().strMessage.IsEmpty());  // the resource text
    EXPECT_EQ(selectedCodes(log, debugOnly), "30118 30118");

    KrString out("untouched");
    errors.Dump(out, 1);
    EXPECT_EQ(
        entry(errors.GetLast(0)) + entry(errors.GetAt(0)) + entry(errors.GetAt(99)) + out.Cstr(),
        kNoEntry + kNoEntry + kNoEntry + "untouched");
    errors.SetCapacity(3);
    for (int code = 1; code <= 4; ++code) pushError(code, "e", code);
    EXPECT_EQ(errors.GetCount(), 3);
    // The latest first, indexes taken round the three slots.
    std::string codes;
    for (int index : {0, 1, 2, 3, 4, -1, -3, 300})
        codes += std::to_string(errors.GetAt(index).nErrorCode);
    EXPECT_EQ(codes, "43243244");
    errors.Clear();
    EXPECT_EQ(std::pair(errors.GetCount(), errors.GetCapacity()), std::pair(0, 3));
    errors.SetCapacity(0);
    EXPECT_EQ(entry(errors.GetLast(1)) + entry(errors.GetAt(5)), kNoEntry + kNoEntry);
    EXPECT_EQ(errors.GetCapacity(), 1);  // an empty ring grows to one default slot
    // Above info the format loses "%THREADID": records carry thread 0 and are not found.
    log.SetLevel(KrLogFile::LogWarning);
    pushError(5, "anonymous", 5);
    EXPECT_EQ(entry(errors.GetLast(0)) + entry(errors.GetLast(1)),
              "0|5|anonymous|err.cpp|5" + kNoEntry);

    // Startup opens a closed log in memory.
    log.Close(1);
    EXPECT_FALSE(errors.IsStartup());
    EXPECT_TRUE(errors.Startup() && errors.IsStartup());
    EXPECT_EQ(log.GetMode(), KrLogFile::ModeMemory);
    ASSERT_TRUE(log.Open(sandbox.path("s.log").c_str(), 0, KrLogFile::ModeText));
    EXPECT_TRUE(errors.Startup());  // already open: left as it is
    EXPECT_EQ(log.GetMode(), KrLogFile::ModeText);
}

// The callback gets each entry with its thread, the dump every entry without, latest first. The
// latest entry of a thread is found by its thread id.
TEST_F(KrErrorObjTest, DumpCallbackAndLastOfThisThread)
{
    static std::vector<std::string> seen;
    seen.clear();
    KrErrorObj::SetErrorInfoProc(
        [](const char* record)
        {
            seen.push_back(record);
            pushError(99, "raised inside the callback", 1);  // stored, not passed on again
        });
    pushError(1, "first", 10);
    EXPECT_EQ(seen, std::vector<std::string>{expectedText(1, "first", "err.cpp", 10, kMainThread)});
    KrErrorObj::SetErrorInfoProc(nullptr);
    pushError(2, "second", 20);
    KrString dump("old");
    errors.Dump(dump, 0);
    EXPECT_EQ(dump, expectedText(2, "second", "err.cpp", 20, "") + "\r\n" +
                        expectedText(99, "raised inside the callback", "err.cpp", 1, "") + "\r\n" +
                        expectedText(1, "first", "err.cpp", 10, ""));

    // The latest of this thread passes over those of other threads.
    std::thread([] { pushError(3, "other", 2); }).join();
    EXPECT_EQ(errors.GetLast(0).nErrorCode, 3u);
    EXPECT_EQ(entry(errors.GetLast(1)), kMainThread + "|2|second|err.cpp|20");
    KrErrorObj::ErrorInfo fromNewThread;
    std::thread([&] { fromNewThread = errors.GetLast(1); }).join();
    EXPECT_EQ(entry(fromNewThread), kNoEntry);
}
