#include "debug/debug_check.h"

namespace Debug
{

void assertFailed(const char* condition, const char* file, int line, const char* function)
{
    std::string text = std::string("DEBUG_ASSERT( ") + condition + " )";
    logMessage(LogLevel::Fatal, file, line, function, text);
    throw CheckException(std::move(text));
}

void expectFailed(const char* condition, const char* file, int line, const char* function)
{
    logMessage(LogLevel::Warning, file, line, function,
               std::string("DEBUG_EXPECT( ") + condition + " )");
}

void verifyFailed(const char* expression, const char* file, int line, const char* function)
{
    logMessage(LogLevel::Warning, file, line, function,
               std::string("DEBUG_VERIFY( ") + expression + " )");
}

}  // namespace Debug
