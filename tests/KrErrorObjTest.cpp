#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::selectedCodes;

namespace
{

std::string kernelThreadId()
{
    return std::to_string(::syscall(SYS_gettid));
}

// The resource template shipped in krnres.xml, its tokens replaced by hand.
std::string expectedText(unsigned int code, const std::string& message, const std::string& file,
                         int line, const std::string& thread)
{
    return "Error " + std::to_string(code) + ": " + message + "\n  at " + file + ", line " +
           std::to_string(line) + "\n  thread " + thread;
}

// An entry as "thread|code|message|file|line"; an empty slot reads "4294967295|0|||-1".
std::string entry(const KrErrorObj::ErrorInfo& info)
{
    return std::to_string(info.nThreadID) + "|" + std::to_string(info.nErrorCode) + "|" +
           info.strMessage.Cstr() + "|" + info.strCodeFile.Cstr() + "|" +
           std::to_string(info.nCodeLine);
}
const char kNoEntry[] = "4294967295|0|||-1";

void pushError(int code, const char* message, int line)
{
    KrLogFile::GetInstance(true).RecordLog(KrLogFile::LogError, code, message, "err.cpp", line);
}

class KrErrorObjTest : public ::testing::Test
{
protected:
    void openMemory() { ASSERT_TRUE(sandbox.log().Open(KrLogFile::ModeMemory)); }

    KrLogTest::LogSandbox sandbox;
    KrErrorObj& errors = KrErrorObj::GetInstance();
};

}  // namespace

TEST_F(KrErrorObjTest, EmptyStackGivesDefaultEntriesAndStartupOpensTheLogInMemory)
{
    for (const KrErrorObj::ErrorInfo& info :
         {errors.GetLast(0), errors.GetLast(1), errors.GetAt(0), errors.GetAt(99)})
        EXPECT_EQ(entry(info), kNoEntry);
    KrString out("untouched");
    errors.Dump(out, 1);
    EXPECT_EQ(out, "untouched");
    EXPECT_EQ(errors.GetCapacity(), 16);

    EXPECT_FALSE(errors.IsStartup());
    EXPECT_TRUE(errors.Startup());
    EXPECT_TRUE(errors.IsStartup());
    EXPECT_EQ(sandbox.log().GetMode(), KrLogFile::ModeMemory);
    ASSERT_TRUE(sandbox.log().Open(sandbox.path("s.log").c_str(), 0, KrLogFile::ModeText));
    EXPECT_TRUE(errors.Startup());  // already open: left as it is
    EXPECT_EQ(sandbox.log().GetMode(), KrLogFile::ModeText);
}

TEST_F(KrErrorObjTest, RingKeepsTheLatestEntriesAndIndexesModuloItsCapacity)
{
    openMemory();
    errors.SetCapacity(3);
    for (int code = 1; code <= 4; ++code) pushError(code, "e", code);
    EXPECT_EQ(errors.GetCount(), 3);
    // index, code: the latest first, indexes taken round the three slots
    const std::vector<std::pair<int, unsigned int>> rows = {{0, 4}, {1, 3},  {2, 2},  {3, 4},
                                                            {4, 3}, {-1, 2}, {-3, 4}, {300, 4}};
    for (const auto& [index, code] : rows) EXPECT_EQ(errors.GetAt(index).nErrorCode, code) << index;
    errors.Clear();
    EXPECT_EQ(errors.GetCount(), 0);
    EXPECT_EQ(errors.GetCapacity(), 3);
    errors.SetCapacity(0);
    EXPECT_EQ(entry(errors.GetLast(1)) + entry(errors.GetAt(5)), std::string(kNoEntry) + kNoEntry);
    EXPECT_EQ(errors.GetCapacity(), 1);  // an empty ring grows to one default slot
}

TEST_F(KrErrorObjTest, FormatDumpAndCallbackUseTheResourceTemplate)
{
    openMemory();
    const KrErrorObj::ErrorInfo info{77, 11023, "no file", "io.cpp", 5};
    KrString text;
    for (int withThread : {1, 0})
    {
        KrErrorObj::Format(info, text, withThread);
        EXPECT_EQ(text, expectedText(11023, "no file", "io.cpp", 5, withThread ? "77" : ""));
    }

    static std::vector<std::string> seen;
    seen.clear();
    KrErrorObj::SetErrorInfoProc(
        [](const char* record)
        {
            seen.push_back(record);
            pushError(99, "raised inside the callback", 1);  // stored, not passed on again
        });
    pushError(1, "first", 10);
    EXPECT_EQ(seen,
              std::vector<std::string>{expectedText(1, "first", "err.cpp", 10, kernelThreadId())});
    KrErrorObj::SetErrorInfoProc(nullptr);
    pushError(2, "second", 20);
    KrString dump("old");
    errors.Dump(dump, 0);
    EXPECT_EQ(dump, expectedText(2, "second", "err.cpp", 20, "") + "\r\n" +
                        expectedText(99, "raised inside the callback", "err.cpp", 1, "") + "\r\n" +
                        expectedText(1, "first", "err.cpp", 10, ""));
}

TEST_F(KrErrorObjTest, LastOfThisThreadIgnoresOtherThreads)
{
    openMemory();
    pushError(1, "main", 1);
    std::thread([] { pushError(2, "other", 2); }).join();
    EXPECT_EQ(errors.GetLast(0).nErrorCode, 2u);
    EXPECT_EQ(entry(errors.GetLast(1)), kernelThreadId() + "|1|main|err.cpp|1");
    KrErrorObj::ErrorInfo fromNewThread;
    std::thread([&] { fromNewThread = errors.GetLast(1); }).join();
    EXPECT_EQ(entry(fromNewThread), kNoEntry);

    // Above info the format loses "%THREADID": records carry thread 0 and are not found.
    sandbox.log().SetLevel(KrLogFile::LogWarning);
    errors.Clear();
    pushError(5, "anonymous", 5);
    EXPECT_EQ(errors.GetLast(0).nThreadID, 0u);
    EXPECT_EQ(errors.GetLast(1).nErrorCode, 0u);
}

TEST_F(KrErrorObjTest, ExceptionRecordsItselfAtDebugLevel)
{
    openMemory();
    KrLogQueryDef debugOnly;
    debugOnly.m_nMinLevel = debugOnly.m_nMaxLevel = KrLogFile::LogDebug;
    const KrException thrown(30118, "bad block", "zip.cpp", 40);
    EXPECT_EQ(thrown.GetErrorInfo().nThreadID, 0xFFFFFFFFu);
    EXPECT_EQ(selectedCodes(sandbox.log(), debugOnly), "30118");
    KrArray<KrLogItem> items;
    sandbox.log().Query(debugOnly, items);
    EXPECT_EQ(items[0].m_strCodeFile, "zip.cpp");
    EXPECT_EQ(errors.GetCount(), 0);  // debug records are not errors

    KrException copy = thrown;
    sandbox.log().SetFilterRepeat(0);
    copy.WriteToLog();
    EXPECT_EQ(selectedCodes(sandbox.log(), debugOnly), "30118 30118");

    sandbox.log().SetLevel(KrLogFile::LogInfo);
    const KrException quiet(30150, "zip.cpp", 41);
    EXPECT_FALSE(quiet.GetErrorInfo().strMessage.IsEmpty());  // the resource text
    EXPECT_EQ(selectedCodes(sandbox.log(), debugOnly), "30118 30118");
}
