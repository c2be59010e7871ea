#pragma once

#include <glm/vec2.hpp>

#include "particle_system/ps_operation.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// Ends a particle when it crosses a drawn line, in the plane of x and y. The lines are held in an
// intersection tree: node i of a level has the children 2i and 2i + 1 of the next level; boxes
// lead down to leaves, each the rising or falling diagonal of its box.
class TerminatorPath final : public Terminator
{
public:
    enum EnumNodeType : uint8
    {
        NT_Box = 0,
        NT_RisingLeaf = 1,
        NT_FallingLeaf = 2,
    };

    struct Node
    {
        uint8 type;
        glm::vec2 centre;
        glm::vec2 direction;  // unit vector from the centre to the high corner
        float length;         // half the box's diagonal
    };

    struct Level
    {
        const Node* nodes;
        uint32 numNodes;
    };

    struct DynData
    {
        uint32 started;
        glm::vec2 lastPosition;
    };

    TerminatorPath(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initParticleData(EmitterInst& inst) override;
    bool processTerminator(EmitterInst& inst, float dt) override;

    // The test of a segment a-b against the tree, from level 0, node 0.
    bool intersects(const glm::vec2& a, const glm::vec2& b, float segmentLength) const;

    uint32 getNumLevels() const { return numLevels_; }
    const Level& getLevel(uint32 i) const { return levels_[i]; }

private:
    bool intersectsNode(uint32 level, uint32 node, const glm::vec2& a, const glm::vec2& b,
                        float segmentLength) const;

    uint32 numLevels_ = 0;
    Level* levels_ = nullptr;
};

}  // namespace Ps
