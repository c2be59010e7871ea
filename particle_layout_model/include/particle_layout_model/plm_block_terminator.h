#pragma once

#include "particle_layout_model/plm_block.h"

namespace Plm
{

// What ends particles before their lifetime does.
class BlockTerminator : public Block
{
public:
    BlockTerminator* castToBlockTerminator() override { return this; }

protected:
    BlockTerminator() = default;
    explicit BlockTerminator(LoadFlag flag) : Block(flag) {}
};

}  // namespace Plm
