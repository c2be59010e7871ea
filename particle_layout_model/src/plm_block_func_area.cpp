#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_syncer.h"

#include <algorithm>
#include <limits>

#include "revision_saveload/sl_write_read.h"

#include "plm_export_block_writers.h"

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

float BlockFuncArea::getExportSquare() const
{
    const Area& area = area_.get();
    if (!area.isValid())
        return 0.0f;
    uint64_t paint = 0;
    for (uint8_t cell : area.getImage())
        paint += cell;
    return static_cast<float>(static_cast<double>(paint) / 255.0);
}

// Operation 0 picks points on the area shrunk to the block's pixel size; operation 1 is the
// constant measure of the paint.
void BlockFuncArea::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    if (operId == 1)
    {
        compiler.registerOpOutput(CI_OutputSquare, 0);
        ExportBin::OperationScope operation(compiler, Ps::OF_FuncDistribFloat);
        ExportBin::writeValue(operation.saver(), "value", getExportSquare());
        return;
    }
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(CI_OutputPosition, 0);
    const Area& area = area_.get();
    // The chains hold only blocks with an area set.
    DEBUG_ASSERT(area.isValid());
    Area optimized;
    area.optimize(optimized, std::max(optPixelSize_.get(), 1u));
    const uint32_t limit = std::numeric_limits<uint16_t>::max();
    DEBUG_ASSERT(area.getWidth() <= limit && area.getHeight() <= limit);
    DEBUG_ASSERT(optimized.getWidth() <= limit && optimized.getHeight() <= limit);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncArea);
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "input", CI_Input);
    saver.write("x", area.getX());
    saver.write("y", area.getY());
    saver.write("width", static_cast<uint16_t>(area.getWidth()));
    saver.write("height", static_cast<uint16_t>(area.getHeight()));
    saver.write("opt_width", static_cast<uint16_t>(optimized.getWidth()));
    saver.write("opt_height", static_cast<uint16_t>(optimized.getHeight()));
    const std::vector<uint8_t>& weights = optimized.getImage();
    saver.writeBinary("v", weights.data(), static_cast<uint32_t>(weights.size()));
}

// The painted area editor's state stays the block's own.
void BlockFuncArea::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncArea::area_);
    syncer.syncProp(&BlockFuncArea::optPixelSize_);
}

}  // namespace Plm
