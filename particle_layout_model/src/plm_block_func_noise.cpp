#include "particle_layout_model/plm_block_func_noise.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncNoise::BlockFuncNoise()
    : smoothness_(*this, false, 1000.0f),
      type_(*this, false, Ps::FN3_Linear),
      outputScale_(*this, false, 1.0f),
      outputLow_(*this, false, glm::vec3(-1.0f)),
      outputHigh_(*this, false, glm::vec3(1.0f)),
      animation_(*this, false, glm::vec3(0.0f)),
      additive_(*this, false, false)
{
}

BlockFuncNoise::BlockFuncNoise(LoadFlag flag)
    : BlockFunc(flag),
      smoothness_(*this),
      type_(*this),
      outputScale_(*this),
      outputLow_(*this),
      outputHigh_(*this),
      animation_(*this),
      additive_(*this)
{
}

BlockFuncNoise::BlockFuncNoise(const BlockFuncNoise& other)
    : BlockFunc(other),
      smoothness_(*this, other.smoothness_),
      type_(*this, other.type_),
      outputScale_(*this, other.outputScale_),
      outputLow_(*this, other.outputLow_),
      outputHigh_(*this, other.outputHigh_),
      animation_(*this, other.animation_),
      additive_(*this, other.additive_)
{
}

std::unique_ptr<BlockFuncNoise> BlockFuncNoise::create()
{
    std::unique_ptr<BlockFuncNoise> block(new BlockFuncNoise());
    block->updateConnectors();
    return block;
}

void BlockFuncNoise::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Vec3, 1), inputDesc(CT_Vec3, 0)};
    addInputIfExternal(descs, smoothness_, CT_Float, 2);
    addInputIfExternal(descs, outputScale_, CT_Float, 3);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncNoise::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncNoise(*this));
}

void BlockFuncNoise::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, kVersion);
    smoothness_.save("smoothness", saver);
    type_.save("type", saver);
    outputScale_.save("output_scale", saver);
    outputLow_.save("output_low", saver);
    outputHigh_.save("output_high", saver);
    animation_.save("animation", saver);
    additive_.save("additive", saver);
}

void BlockFuncNoise::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, kVersion);
    smoothness_.load(loader);
    type_.load(loader);
    outputScale_.load(loader);
    outputLow_.load(loader);
    outputHigh_.load(loader);
    // Version 0 had no animation: the noise stood still.
    if (group.version() >= 1)
        animation_.load(loader);
    else
        animation_.reset(glm::vec3(0.0f));
    additive_.load(loader);
}

void BlockFuncNoise::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(1, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncNoise3);
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "input", 0);
    compiler.writeInput(*this, "smoothness", smoothness_, 2);
    saver.write("type", static_cast<uint8_t>(type_.get()));
    compiler.writeInput(*this, "range_scale", outputScale_, 3);
    ExportBin::writeValue(saver, "range_low", outputLow_.get());
    ExportBin::writeValue(saver, "range_high", outputHigh_.get());
    ExportBin::writeValue(saver, "animation", animation_.get());
    saver.write("additive", additive_.get());
}

void BlockFuncNoise::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncNoise::smoothness_);
    syncer.syncProp(&BlockFuncNoise::type_);
    syncer.syncProp(&BlockFuncNoise::outputScale_);
    syncer.syncProp(&BlockFuncNoise::outputLow_);
    syncer.syncProp(&BlockFuncNoise::outputHigh_);
    syncer.syncProp(&BlockFuncNoise::animation_);
    syncer.syncProp(&BlockFuncNoise::additive_);
}

}  // namespace Plm
