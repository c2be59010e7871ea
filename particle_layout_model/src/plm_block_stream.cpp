#include "particle_layout_model/plm_block_stream.h"

#include <limits>

#include "particle_layout_model/plm_block.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace Plm
{

std::vector<uint8_t> saveBlockPlain(const Block& block, Sl::EnumTypeChecking typeChecking)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, typeChecking);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        block.save(saver);
    }
    return flex.dataAsVector();
}

std::unique_ptr<Block> loadBlockPlain(const uint8_t* data, size_t size)
{
    if (size > std::numeric_limits<uint32_t>::max())
        throw Sl::EndOfBufferException();
    Sl::LoaderBinArray array(data, static_cast<uint32_t>(size));
    Sl::RevisionLoader loader(nullptr, array);
    return Block::createFromLoader(loader);
}

}  // namespace Plm
