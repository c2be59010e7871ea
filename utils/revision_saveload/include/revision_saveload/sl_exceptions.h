#pragma once

#include <exception>

namespace Sl
{

// Raised by loaders on data that can't be read. Callers catch it at the level
// of a whole file or buffer and give up on that; the loader's state after it
// is not defined for further reads. The exceptions carry no text; what()
// names the class for logs.
class Exception : public std::exception
{
public:
    const char* what() const noexcept override;
};

// A read or skip went past the end of the data.
class EndOfBufferException : public Exception
{
public:
    const char* what() const noexcept override;
};

// The bytes can't be a valid stream (e.g. a packed integer that is too long).
class CorruptedDataException : public Exception
{
public:
    const char* what() const noexcept override;
};

// A group carries a version newer than the reader knows.
class OldLoaderVersionException : public Exception
{
public:
    const char* what() const noexcept override;
};

// With type tags on: the tag differs from the one the reader expects.
class WrongTypeException : public Exception
{
public:
    const char* what() const noexcept override;
};

}  // namespace Sl
