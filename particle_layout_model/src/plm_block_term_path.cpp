#include "particle_layout_model/plm_block_term_path.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plot/path2_intersect_tree.h"
#include "plot/path_cache.h"
#include "revision_saveload/sl_write_read_glm.h"

#include "plm_export_block_writers.h"

namespace Plm
{

namespace
{

// A horizontal line above the emitter.
Path<glm::vec2> defaultPath()
{
    Path<glm::vec2> path;
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(-200.0f, 200.0f)));
    path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(200.0f, 200.0f)));
    return path;
}

}  // namespace

BlockTermPath::BlockTermPath()
    : path_(*this, false, defaultPath()), subdiv_(*this, false, static_cast<unsigned short>(15))
{
}

BlockTermPath::BlockTermPath(LoadFlag flag) : BlockTerminator(flag), path_(*this), subdiv_(*this) {}

BlockTermPath::BlockTermPath(const BlockTermPath& other)
    : BlockTerminator(), path_(*this, other.path_), subdiv_(*this, other.subdiv_)
{
}

std::unique_ptr<BlockTermPath> BlockTermPath::create()
{
    std::unique_ptr<BlockTermPath> block(new BlockTermPath());
    block->updateConnectors();
    return block;
}

void BlockTermPath::updateConnectors() { resetConnectors(nullptr, 0); }

std::unique_ptr<Block> BlockTermPath::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockTermPath(*this));
}

void BlockTermPath::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("term_path", saver, 0);
    path_.save("path", saver);
    subdiv_.save("subdiv", saver);
}

void BlockTermPath::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    path_.load(loader);
    subdiv_.load(loader);
}

void BlockTermPath::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    // The runtime tests a particle's move against the boxes of the resampled path's lines.
    const PathCache<glm::vec2> cache(getPath(), getBezierSubdivision());
    const std::unique_ptr<Path2IntersectTree> tree =
        Path2IntersectTree::createFromPathCache2(cache);
    const ExportBin::OperationScope operation(compiler, Ps::OF_TerminatorPath);
    Sl::Saver& saver = operation.saver();
    const unsigned int numLevels = tree->getNumLevels();
    DEBUG_ASSERT(numLevels < 256);
    saver.write("num_levels", static_cast<uint8_t>(numLevels));
    for (unsigned int l = 0; l < numLevels; ++l)
    {
        const std::vector<Path2IntersectTree::Node>& level = tree->getLevel(l);
        saver.write("num_nodes", static_cast<uint32_t>(level.size()));
        for (const Path2IntersectTree::Node& node : level)
        {
            saver.write("type", static_cast<uint8_t>(node.type));
            Sl::write("centre", saver, node.centre);
            Sl::write("direction", saver, node.direction);
            saver.write("length", node.length);
        }
    }
}

void BlockTermPath::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockTermPath::path_);
    syncer.syncProp(&BlockTermPath::subdiv_);
}

}  // namespace Plm
