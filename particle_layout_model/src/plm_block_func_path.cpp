#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_syncer.h"

#include <algorithm>

#include "plm_export_block_writers.h"

namespace Plm
{

namespace
{

// A shallow arch of two straight segments.
Path<glm::vec2> defaultPath()
{
    Path<glm::vec2> path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(100.0f, 100.0f)));
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(200.0f, 200.0f)));
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(300.0f, 100.0f)));
    return path;
}

}  // namespace

BlockFuncPath::BlockFuncPath() : path_(*this, false, defaultPath()), subdiv_(*this, false, 15u) {}

BlockFuncPath::BlockFuncPath(LoadFlag flag) : BlockFunc(flag), path_(*this), subdiv_(*this) {}

BlockFuncPath::BlockFuncPath(const BlockFuncPath& other)
    : BlockFunc(other), path_(*this, other.path_), subdiv_(*this, other.subdiv_)
{
}

std::unique_ptr<BlockFuncPath> BlockFuncPath::create()
{
    std::unique_ptr<BlockFuncPath> block(new BlockFuncPath());
    block->updateConnectors();
    return block;
}

void BlockFuncPath::updateConnectors()
{
    const BlockConnectorDesc descs[] = {
        outputDesc(CT_Vec2, kPositionConnector), outputDesc(CT_Vec2, kDirectionConnector),
        outputDesc(CT_Float, kLengthConnector), inputDesc(CT_Float, kInputConnector)};
    resetConnectors(descs, 4);
}

std::unique_ptr<Block> BlockFuncPath::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncPath(*this));
}

void BlockFuncPath::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    path_.save("path", saver);
    subdiv_.save("subdiv", saver);
}

void BlockFuncPath::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    path_.load(loader);
    subdiv_.load(loader);
}

// The path resampled evenly by length, as the runtime walks it.
PathCache<glm::vec2> BlockFuncPath::getExportCache() const
{
    // A subdivision of 0 has no steps; the editor keeps it at 1 or more.
    return PathCache<glm::vec2>(path_.get(), std::max(subdiv_.get(), 1u));
}

// Operation 0 walks the path (outputs: the position, the direction); operation 1 is the
// constant length, for a block read only through that output.
void BlockFuncPath::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    const PathCache<glm::vec2> cache = getExportCache();
    if (operId == 1)
    {
        compiler.registerOpOutput(kLengthConnector, 0);
        ExportBin::OperationScope operation(compiler, Ps::OF_FuncDistribFloat);
        ExportBin::writeValue(operation.saver(), "value", cache.getLength());
        return;
    }
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(kPositionConnector, 0);
    compiler.registerOpOutput(kDirectionConnector, 1);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncPathVec2);
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "input", kInputConnector);
    saver.write("num_seg", static_cast<uint32_t>(cache.getNumSegments()));
    for (unsigned int i = 0; i < cache.getNumSegments(); ++i)
    {
        const PathCacheSeg<glm::vec2>& segment = cache.getSegment(i);
        saver.write("seg_norm_start", segment.normStart);
        saver.write("seg_norm_end", segment.normEnd);
        saver.write("num_values", static_cast<uint32_t>(segment.points.size()));
        for (const glm::vec2& point : segment.points)
            ExportBin::writeValue(saver, "value", point);
    }
    saver.write("length", cache.getLength());
}

void BlockFuncPath::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncPath::path_);
    syncer.syncProp(&BlockFuncPath::subdiv_);
}

}  // namespace Plm
