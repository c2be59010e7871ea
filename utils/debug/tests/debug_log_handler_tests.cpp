#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "debug/debug_log_handler.h"
#include "debug/debug_log_worker.h"

namespace
{

struct Record
{
    Debug::LogLevel level;
    std::string file;
    int line;
    std::string function;
    std::string text;
};

std::vector<Record> gRecords;

void keep(Debug::LogLevel level, const char* file, int line, const char* function,
          const std::string& text)
{
    gRecords.push_back({level, file, line, function, text});
}

// Installs `keep` for one test and gives the logger's handler back at the end.
class DebugLogHandler : public testing::Test
{
protected:
    void SetUp() override
    {
        gRecords.clear();
        previous_ = Debug::setLogHandler(&keep);
    }
    void TearDown() override { Debug::setLogHandler(previous_); }

    Debug::LogHandler previous_ = nullptr;
};

}  // namespace

// The logger library is linked into this test: its handler is in place before main.
TEST(DebugLogHandlerStart, TheLoggerInstallsItsHandlerBeforeMain)
{
    EXPECT_NE(Debug::logHandler(), nullptr);
}

TEST_F(DebugLogHandler, EachCheckAndLogReachesTheHandlerWithItsSite)
{
    struct Case
    {
        void (*run)();
        Debug::LogLevel level;
        const char* text;
    };
    static int failing = 1;
    const Case cases[] = {
        {[] { DEBUG_EXPECT(failing == 0); }, Debug::LogLevel::Warning,
         "DEBUG_EXPECT( failing == 0 )"},
        {[] { (void)DEBUG_VERIFY(failing == 0); }, Debug::LogLevel::Warning,
         "DEBUG_VERIFY( DEBUG_VERIFY_PREDICATE(failing == 0, DEBUG_VERIFY_TOBOOL_PREDICATE, true) "
         ")"},
        {[]
         {
             try
             {
                 DEBUG_ASSERT(failing == 0);
             }
             catch (const Debug::CheckException&)
             {
             }
         },
         Debug::LogLevel::Fatal, "DEBUG_ASSERT( failing == 0 )"},
        {[] { DEBUG_LOG(Info, "a note " + std::to_string(failing)); }, Debug::LogLevel::Info,
         "a note 1"},
    };
    for (const Case& c : cases)
    {
        gRecords.clear();
        c.run();
        ASSERT_EQ(gRecords.size(), 1u) << c.text;
        EXPECT_EQ(gRecords[0].level, c.level) << c.text;
        EXPECT_EQ(gRecords[0].text, c.text);
        EXPECT_NE(gRecords[0].file.find("debug_log_handler_tests.cpp"), std::string::npos);
        EXPECT_GT(gRecords[0].line, 0);
    }
}

TEST_F(DebugLogHandler, PassingChecksCallNothingAndNullDropsRecords)
{
    DEBUG_EXPECT(1 < 2);
    EXPECT_TRUE(DEBUG_VERIFY(2 > 1));
    DEBUG_ASSERT(true);
    EXPECT_TRUE(gRecords.empty());

    // Without a handler the record goes nowhere: neither to `keep` nor to the logger's memory.
    const std::size_t pending = Debug::pendingRecordCount();
    EXPECT_EQ(Debug::setLogHandler(nullptr), &keep);
    DEBUG_LOG(Warning, "dropped");
    EXPECT_TRUE(gRecords.empty());
    EXPECT_EQ(Debug::pendingRecordCount(), pending);
    EXPECT_EQ(Debug::setLogHandler(&keep), nullptr);
    DEBUG_LOG(Warning, "kept");
    ASSERT_EQ(gRecords.size(), 1u);
    EXPECT_EQ(gRecords[0].text, "kept");
}
