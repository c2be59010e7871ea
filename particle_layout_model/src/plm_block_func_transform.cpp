#include "particle_layout_model/plm_block_func_transform.h"

namespace Plm
{

BlockFuncTransform::BlockFuncTransform(bool inverted)
    : position_(*this, false, glm::vec2(0.0f)),
      rotation_(*this, false, 0.0f),
      scale_(*this, false, 1.0f),
      inverted_(inverted)
{
}

BlockFuncTransform::BlockFuncTransform(LoadFlag flag)
    : BlockFunc(flag), position_(*this), rotation_(*this), scale_(*this)
{
}

BlockFuncTransform::BlockFuncTransform(const BlockFuncTransform& other)
    : BlockFunc(other),
      position_(*this, other.position_),
      rotation_(*this, other.rotation_),
      scale_(*this, other.scale_),
      inverted_(other.inverted_)
{
}

std::unique_ptr<BlockFuncTransform> BlockFuncTransform::create(bool inverted)
{
    std::unique_ptr<BlockFuncTransform> block(new BlockFuncTransform(inverted));
    block->updateConnectors();
    return block;
}

void BlockFuncTransform::updateConnectors()
{
    const BlockConnectorDesc descs[] = {outputDesc(CT_Vec2, 1), inputDesc(CT_Vec2, 0)};
    resetConnectors(descs, 2);
}

std::unique_ptr<Block> BlockFuncTransform::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncTransform(*this));
}

void BlockFuncTransform::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    position_.save("position", saver);
    rotation_.save("rotation", saver);
    scale_.save("scale", saver);
    saver.write("inverted", inverted_);
}

void BlockFuncTransform::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    position_.load(loader);
    rotation_.load(loader);
    scale_.load(loader);
    loader.read(inverted_);
}

}  // namespace Plm
