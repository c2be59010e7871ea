#include "particle_layout_model/plm_block_func_path.h"

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

}  // namespace Plm
