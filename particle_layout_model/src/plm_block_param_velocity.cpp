#include "particle_layout_model/plm_block_param_velocity.h"

namespace Plm
{

BlockParamVelocity::BlockParamVelocity()
    : addVel_(*this, false, true), applyRot_(*this, false, true)
{
}

BlockParamVelocity::BlockParamVelocity(LoadFlag flag)
    : BlockParamUserTyped<glm::vec3>(flag), addVel_(*this), applyRot_(*this)
{
}

BlockParamVelocity::BlockParamVelocity(const BlockParamVelocity& other)
    : BlockParamUserTyped<glm::vec3>(other),
      addVel_(*this, other.addVel_),
      applyRot_(*this, other.applyRot_)
{
}

std::unique_ptr<BlockParamVelocity> BlockParamVelocity::create()
{
    std::unique_ptr<BlockParamVelocity> block(new BlockParamVelocity());
    block->updateConnectors();
    return block;
}

std::unique_ptr<Block> BlockParamVelocity::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamVelocity(*this));
}

void BlockParamVelocity::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockParamUserTyped<glm::vec3>::saveImpl(saver);
    Sl::ScopedSaverGroup group("param_velocity", saver, 0);
    addVel_.save("add_vel", saver);
    applyRot_.save("apply_rot", saver);
}

void BlockParamVelocity::loadImpl(Sl::RevisionLoader& loader)
{
    BlockParamUserTyped<glm::vec3>::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    addVel_.load(loader);
    applyRot_.load(loader);
}

}  // namespace Plm
