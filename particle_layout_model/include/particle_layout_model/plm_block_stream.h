#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "revision_saveload/sl_saver.h"

namespace Plm
{

class Block;

// A block written in line, as files, the clipboard and drag data hold it: a plain revision
// saver (no store behind it) over a binary stream.
std::vector<uint8_t> saveBlockPlain(const Block& block,
                                    Sl::EnumTypeChecking typeChecking = Sl::TC_On);

// Reads what saveBlockPlain wrote. Null for a factory name nobody knows; a damaged stream
// raises an Sl::Exception.
std::unique_ptr<Block> loadBlockPlain(const uint8_t* data, size_t size);

}  // namespace Plm
