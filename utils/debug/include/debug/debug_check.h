#pragma once

#include <exception>
#include <string>

#include "debug/debug_log.h"

namespace Debug
{

// Raised by DEBUG_ASSERT after its FATAL record: the model, the compiler and
// the tests catch it to give up on one operation without ending the process.
class CheckException : public std::exception
{
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
#define DEBUG_ASSERT(cond)                                                                         \
    do                                                                                             \
    {                                                                                              \
        if (__builtin_expect(!(cond), 0))                                                          \
            ::Debug::assertFailed(#cond, __FILE__, __LINE__, __func__);                            \
    } while (false)

// A suspicious state the code can go on from: WARNING record only.
#define DEBUG_EXPECT(cond)                                                                         \
    do                                                                                             \
    {                                                                                              \
        if (__builtin_expect(!(cond), 0))                                                          \
            ::Debug::expectFailed(#cond, __FILE__, __LINE__, __func__);                            \
    } while (false)

// A call with a side effect: always evaluated exactly once; a WARNING when it
// yields false. The value of the macro is the value of the expression as a bool.
// The record names the check in its predicate form, e.g. for
// DEBUG_VERIFY(buffer->create()):
//   DEBUG_VERIFY( DEBUG_VERIFY_PREDICATE(buffer->create(), DEBUG_VERIFY_TOBOOL_PREDICATE, true) )
#define DEBUG_VERIFY(expr)                                                                         \
    ::Debug::verifyResult(DEBUG_VERIFY_PREDICATE(expr, DEBUG_VERIFY_TOBOOL_PREDICATE, true),       \
                          "DEBUG_VERIFY_PREDICATE(" #expr                                          \
                          ", DEBUG_VERIFY_TOBOOL_PREDICATE, true)",                                \
                          __FILE__, __LINE__, __func__)

// `expr` compared by `pred` with `value`: true when the call did what it should.
#define DEBUG_VERIFY_PREDICATE(expr, pred, value) pred((expr), (value))
#define DEBUG_VERIFY_TOBOOL_PREDICATE(result, expected) (static_cast<bool>(result) == (expected))

namespace Debug
{

// Logs a failed DEBUG_VERIFY and passes its result on. A function and not a
// lambda, so that __func__ in the macro names the function of the call site.
inline bool verifyResult(bool result, const char* expression, const char* file, int line,
                         const char* function)
{
    if (__builtin_expect(!result, 0))
        verifyFailed(expression, file, line, function);
    return result;
}

}  // namespace Debug
