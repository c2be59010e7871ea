#pragma once

#include <exception>
#include <string>

#include "debug/debug_log.h"

namespace Debug {

// Raised by DEBUG_ASSERT after its FATAL record: the model, the compiler and
// the tests catch it to give up on one operation without ending the process.
class CheckException : public std::exception {
 public:
  explicit CheckException(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

// Cold paths of the macros, kept out of line so that a check costs one branch.
[[noreturn]] void assertFailed(const char* condition, const char* file, int line,
                               const char* function);
void expectFailed(const char* condition, const char* file, int line, const char* function);
void verifyFailed(const char* expression, const char* file, int line, const char* function);

}  // namespace Debug

// A broken invariant: FATAL record, then Debug::CheckException.
#define DEBUG_ASSERT(cond)                                                 \
  do {                                                                     \
    if (__builtin_expect(!(cond), 0))                                      \
      ::Debug::assertFailed(#cond, __FILE__, __LINE__, __func__);          \
  } while (false)

// A suspicious state the code can go on from: WARNING record only.
#define DEBUG_EXPECT(cond)                                                 \
  do {                                                                     \
    if (__builtin_expect(!(cond), 0))                                      \
      ::Debug::expectFailed(#cond, __FILE__, __LINE__, __func__);          \
  } while (false)

// A call with a side effect: always evaluated; a WARNING when it yields false.
// The value of the macro is the value of the expression as a bool.
#define DEBUG_VERIFY(expr)                                                 \
  ([&]() -> bool {                                                         \
    const bool debugVerifyResult_ = static_cast<bool>(expr);               \
    if (__builtin_expect(!debugVerifyResult_, 0))                          \
      ::Debug::verifyFailed(#expr, __FILE__, __LINE__, __func__);          \
    return debugVerifyResult_;                                             \
  }())
