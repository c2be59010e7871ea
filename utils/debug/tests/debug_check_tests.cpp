#include <string>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "debug/debug_log_worker.h"
#include "debug_test_files.h"

TEST(DebugCheck, AssertThrowsWithTheConditionText)
{
    int value = 3;
    try
    {
        DEBUG_ASSERT(value < 2);
        FAIL() << "no exception";
    }
    catch (const Debug::CheckException& e)
    {
        EXPECT_EQ(std::string(e.what()), "DEBUG_ASSERT( value < 2 )");
    }
    EXPECT_NO_THROW(DEBUG_ASSERT(value == 3));
}

TEST(DebugCheck, CheckExceptionIsAStdException)
{
    try
    {
        DEBUG_ASSERT(false);
    }
    catch (const std::exception& e)
    {
        EXPECT_STREQ(e.what(), "DEBUG_ASSERT( false )");
        return;
    }
    FAIL() << "not caught as std::exception";
}

TEST(DebugCheck, VerifyEvaluatesOnceAndYieldsTheValue)
{
    int calls = 0;
    auto step = [&](bool ok)
    {
        ++calls;
        return ok;
    };
    EXPECT_TRUE(DEBUG_VERIFY(step(true)));
    EXPECT_FALSE(DEBUG_VERIFY(step(false)));
    EXPECT_EQ(calls, 2);
    // Anything that converts to bool, such as a pointer.
    int object = 0;
    int* none = nullptr;
    EXPECT_TRUE(DEBUG_VERIFY(&object));
    EXPECT_FALSE(DEBUG_VERIFY(none));
}

namespace
{

// Runs each macro with a false condition in a function of its own; the records
// must name this file, this function and the line of the macro.
int expectLine = 0;
int verifyLine = 0;
int assertLine = 0;
bool failingChecks(bool (*create)())
{
    const int calls = 7;
    expectLine = __LINE__ + 1;
    DEBUG_EXPECT(calls > 9);
    verifyLine = __LINE__ + 1;
    const bool made = DEBUG_VERIFY(create());
    assertLine = __LINE__ + 1;
    DEBUG_ASSERT(calls == 9);  // the text keeps the tokens, not the spacing
    return made;
}

bool failingCreate() { return false; }

}  // namespace

TEST(DebugCheck, RecordsNameLevelTextAndCallSite)
{
    TempDir dir;
    std::string fileName;
    {
        auto worker = Debug::LogWorker::create("editor", dir.path());
        fileName = worker->fileName();
        EXPECT_THROW(failingChecks(&failingCreate), Debug::CheckException);
    }
    const std::string contents = readFile(fileName);
    const std::string site = " [debug_check_tests.cpp->failingChecks:";

    EXPECT_NE(lineWith(contents, "\tWARNING 500" + site + std::to_string(expectLine) +
                                     "]\t"
                                     "DEBUG_EXPECT( calls > 9 )"),
              "")
        << contents;
    EXPECT_NE(lineWith(contents, "\tWARNING 500" + site + std::to_string(verifyLine) +
                                     "]\t"
                                     "DEBUG_VERIFY( DEBUG_VERIFY_PREDICATE(create(), "
                                     "DEBUG_VERIFY_TOBOOL_PREDICATE, true) )"),
              "")
        << contents;
    EXPECT_NE(lineWith(contents, "\tFATAL 1000" + site + std::to_string(assertLine) +
                                     "]\t"
                                     "DEBUG_ASSERT( calls == 9 )"),
              "")
        << contents;
}

TEST(DebugCheck, PassingChecksLogNothing)
{
    TempDir dir;
    // Records of earlier tests, kept in memory, go to a file of their own.
    {
        auto drain = Debug::LogWorker::create("drain", dir.path());
    }
    std::string fileName;
    {
        auto worker = Debug::LogWorker::create("editor", dir.path());
        fileName = worker->fileName();
        DEBUG_EXPECT(1 < 2);
        EXPECT_TRUE(DEBUG_VERIFY(2 > 1));
        DEBUG_ASSERT(true);
    }
    const std::string contents = readFile(fileName);
    EXPECT_EQ(contents.find("DEBUG_"), std::string::npos) << contents;
}
