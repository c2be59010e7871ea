#include "particle_layout_model/plm_block_func_area.h"

#include "revision_saveload/sl_write_read.h"

namespace Plm
{

BlockFuncArea::BlockFuncArea()
    : area_(*this, false, Area(-32, -32, 64, 64, nullptr)), optPixelSize_(*this, false, 10u)
{
}

BlockFuncArea::BlockFuncArea(LoadFlag flag) : BlockFunc(flag), area_(*this), optPixelSize_(*this) {}

BlockFuncArea::BlockFuncArea(const BlockFuncArea& other)
    : BlockFunc(other),
      area_(*this, other.area_),
      optPixelSize_(*this, other.optPixelSize_),
      edData_(other.edData_)
{
}

std::unique_ptr<BlockFuncArea> BlockFuncArea::create()
{
    std::unique_ptr<BlockFuncArea> block(new BlockFuncArea());
    block->updateConnectors();
    return block;
}

void BlockFuncArea::setAreaEdSaveData(const std::vector<uint8_t>& data)
{
    if (data == edData_)
        return;
    edData_ = data;
    // Saved with the block, so a new revision, but nothing that export reads.
    notifyPropChanged(false);
}

void BlockFuncArea::updateConnectors()
{
    const std::vector<BlockConnectorDesc> descs{outputDesc(CT_Vec2, CI_OutputPosition),
                                                outputDesc(CT_Float, CI_OutputSquare),
                                                inputDesc(CT_Float, CI_Input)};
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncArea::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncArea(*this));
}

void BlockFuncArea::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, kVersion);
    area_.save("area", saver);
    optPixelSize_.save("opt_pix_size", saver);
    Sl::write("ed_data", saver, edData_);
}

void BlockFuncArea::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    area_.load(loader);
    optPixelSize_.load(loader);
    std::vector<uint8_t> edData;
    // Version 0 kept the editor's state in a layout of its own, which nothing reads any more.
    if (group.version() >= 1)
        Sl::read(loader, edData);
    else
        loader.skipGroup();
    edData_ = std::move(edData);
}

}  // namespace Plm
