#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

const char* Exception::what() const noexcept { return "Sl::Exception"; }
const char* EndOfBufferException::what() const noexcept { return "Sl::EndOfBufferException"; }
const char* CorruptedDataException::what() const noexcept { return "Sl::CorruptedDataException"; }
const char* OldLoaderVersionException::what() const noexcept
{
    return "Sl::OldLoaderVersionException";
}
const char* WrongTypeException::what() const noexcept { return "Sl::WrongTypeException"; }

}  // namespace Sl
