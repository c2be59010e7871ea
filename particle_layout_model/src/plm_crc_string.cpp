#include "particle_layout_model/plm_crc_string.h"

#include <boost/crc.hpp>

#include "revision_saveload/sl_write_read_std.h"

uint32_t CrcString::computeCrc(const std::string& text)
{
    boost::crc_32_type crc;
    crc.process_bytes(text.data(), text.size());
    return crc.checksum();
}

namespace Sl
{

void write(const char* name, Saver& saver, const CrcString& value)
{
    write(name, saver, value.str());
}

void read(Loader& loader, CrcString& value)
{
    std::string text;
    read(loader, text);
    value = CrcString(std::move(text));
}

}  // namespace Sl
