#include "particle_layout_model/plm_block_term_path.h"

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

}  // namespace Plm
