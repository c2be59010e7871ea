#include <string>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "debug/debug_log_worker.h"

TEST(DebugCheck, AssertThrowsWithTheConditionText) {
  int value = 3;
  try {
    DEBUG_ASSERT(value < 2);
    FAIL() << "no exception";
  } catch (const Debug::CheckException& e) {
    EXPECT_EQ(std::string(e.what()), "DEBUG_ASSERT( value < 2 )");
  }
  EXPECT_NO_THROW(DEBUG_ASSERT(value == 3));
}

TEST(DebugCheck, CheckExceptionIsAStdException) {
  try {
    DEBUG_ASSERT(false);
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "DEBUG_ASSERT( false )");
    return;
  }
  FAIL() << "not caught as std::exception";
}

TEST(DebugCheck, ExpectGoesOnAndIsLogged) {
  const std::size_t before = Debug::pendingRecordCount();
  bool reached = false;
  DEBUG_EXPECT(1 > 2);
  reached = true;
  EXPECT_TRUE(reached);
  if (before < Debug::maxPendingRecords) {
    EXPECT_EQ(Debug::pendingRecordCount(), before + 1);
  }
}

TEST(DebugCheck, VerifyEvaluatesOnceAndYieldsTheValue) {
  int calls = 0;
  auto step = [&](bool ok) {
    ++calls;
    return ok;
  };
  EXPECT_TRUE(DEBUG_VERIFY(step(true)));
  EXPECT_FALSE(DEBUG_VERIFY(step(false)));
  EXPECT_EQ(calls, 2);
}
