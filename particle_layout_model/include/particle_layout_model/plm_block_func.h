#pragma once

#include <glm/vec2.hpp>

#include "particle_layout_model/plm_block.h"

namespace Plm
{

// The direction in which automatic alignment draws a block that has no position of its own.
enum EnumBlockFuncHomeForce : uint8_t
{
    BFHF_None = 0,
    BFHF_Left = 1,
    BFHF_Center = 2,
};

// A function block: it floats on the scheme at a position of its own.
class BlockFunc : public Block
{
public:
    BlockFunc* castToBlockFunc() override { return this; }

    const glm::vec2& getPosition() const { return position_; }
    bool pinned() const { return pinned_; }
    EnumBlockFuncHomeForce homeForce() const { return homeForce_; }
    bool needsPresimulatePosition() const { return needsPresimulatePosition_; }

    void setPinned(bool pinned);
    void setHomeForce(EnumBlockFuncHomeForce force);
    void setNeedsPresimulatePosition(bool needs);
    // Moves the block and tells nobody: the scheme moves free blocks on every frame.
    void setPosition(const glm::vec2& position);
    // The point at which a move counts as an edit.
    void bakePosition() { notifyPropChanged(false); }

protected:
    BlockFunc() = default;
    explicit BlockFunc(LoadFlag flag) : Block(flag) {}
    // A copy keeps the place and its pinning.
    BlockFunc(const BlockFunc& other);

    // The pinning, the direction of alignment and, for a pinned block, the position. Every
    // kind of function block calls it before taking its properties.
    void syncReflectionImpl(const BlockSyncer& syncer) override = 0;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    glm::vec2 position_{0.0f, 0.0f};
    bool pinned_ = false;
    EnumBlockFuncHomeForce homeForce_ = BFHF_None;
    bool needsPresimulatePosition_ = true;
};

}  // namespace Plm
