#pragma once

#include "particle_layout_model/plm_block.h"

namespace Plm
{

// What starts particles: an emitter's source of bursts.
class BlockGenerator : public Block
{
public:
    BlockGenerator* castToBlockGenerator() override { return this; }

protected:
    BlockGenerator() = default;
    explicit BlockGenerator(LoadFlag flag) : Block(flag) {}
};

}  // namespace Plm
