#include "revision_saveload/sl_loader.h"

#include <vector>

#include "revision_saveload/sl_exceptions.h"

namespace Sl
{

void Loader::readBinary(BinarySink& sink)
{
    // Generic form for loaders that can only deliver a binary value whole: the
    // count is checked against what the loader may still hold before the buffer
    // is made.
    const uint32_t size = readBinarySize();
    if (size > maxDataLeft())
        throw EndOfBufferException();
    std::vector<uint8_t> buffer(size);
    readBinaryData(buffer.data());
    sink.reserve(size);
    sink.append(buffer.data(), size);
}

}  // namespace Sl
