#include "particle_system/ps_terminator_path.h"

#include <cmath>

#include "particle_system/glm_ext_intersect.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_value_io.h"

namespace Ps
{

TerminatorPath::TerminatorPath(Sl::Loader& loader, EmitterFactory&, Allocator& allocator)
    : Terminator(0, sizeof(DynData), 0, allocator)
{
    numLevels_ = readU8(loader);
    levels_ = allocator.allocArray<Level>(numLevels_);
    for (uint32 l = 0; l < numLevels_; ++l)
    {
        Level& level = levels_[l];
        level.numNodes = readU32(loader);
        // Every node takes at least 21 bytes of the stream.
        DEBUG_ASSERT(level.numNodes <= loader.maxDataLeft());
        Node* nodes = allocator.allocArray<Node>(level.numNodes);
        for (uint32 i = 0; i < level.numNodes; ++i)
        {
            Node& node = nodes[i];
            node.type = readU8(loader);
            readValue(loader, node.centre);
            readValue(loader, node.direction);
            node.length = readF32(loader);
        }
        level.nodes = nodes;
    }
    // The descent reads the children 2i and 2i + 1 of a box in the next level.
    for (uint32 l = 0; l < numLevels_; ++l)
        for (uint32 i = 0; i < levels_[l].numNodes; ++i)
        {
            const uint8 type = levels_[l].nodes[i].type;
            DEBUG_ASSERT(type <= NT_FallingLeaf);
            if (type == NT_Box)
                DEBUG_ASSERT(l + 1 < numLevels_ && 2ull * i + 1 < levels_[l + 1].numNodes);
        }
}

uint32 TerminatorPath::computePoolSize(Sl::Loader& loader)
{
    uint64 size = computeDataPoolSize(0);
    const uint32 numLevels = readU8(loader);
    size += Allocator::alignedArray(numLevels, sizeof(Level));
    for (uint32 l = 0; l < numLevels; ++l)
    {
        const uint32 numNodes = readU32(loader);
        DEBUG_ASSERT(numNodes <= loader.maxDataLeft());
        size += Allocator::alignedArray(numNodes, sizeof(Node));
        Allocator::checkedSize(size);
        for (uint32 i = 0; i < numNodes; ++i)
        {
            loader.skipUint8();
            loader.skipGroup();
            loader.skipGroup();
            loader.skipFloat();
        }
    }
    return Allocator::checkedSize(size);
}

void TerminatorPath::initParticleData(EmitterInst& inst)
{
    DynData& dyn = *static_cast<DynData*>(inst.getVoidPtrDynamicData(*this));
    dyn.started = 0;
    dyn.lastPosition = glm::vec2(0.0f);
}

bool TerminatorPath::processTerminator(EmitterInst& inst, float)
{
    DynData& dyn = *static_cast<DynData*>(inst.getVoidPtrDynamicData(*this));
    const glm::vec3& position = inst.getParticleInfo().position;
    if (!dyn.started)
    {
        dyn.started = 1;
        dyn.lastPosition = glm::vec2(position.x, position.y);
        return false;
    }
    const glm::vec2 a = dyn.lastPosition;
    const glm::vec2 b(position.x, position.y);
    const glm::vec2 ab = b - a;
    const float length2 = ab.x * ab.x + ab.y * ab.y;
    if (length2 < 1e-6f)
        return false;
    const float segmentLength = std::sqrt(length2);
    dyn.lastPosition = b;
    return intersects(a, b, segmentLength);
}

bool TerminatorPath::intersects(const glm::vec2& a, const glm::vec2& b, float segmentLength) const
{
    if (numLevels_ == 0 || levels_[0].numNodes == 0)
        return false;
    return intersectsNode(0, 0, a, b, segmentLength);
}

bool TerminatorPath::intersectsNode(uint32 level, uint32 index, const glm::vec2& a,
                                    const glm::vec2& b, float segmentLength) const
{
    const Node& node = levels_[level].nodes[index];
    switch (node.type)
    {
    case NT_Box:
        if (!GlmExt::intersectAabbSegment(node.centre, node.direction, node.length, a, b,
                                          segmentLength))
            return false;
        return intersectsNode(level + 1, 2 * index, a, b, segmentLength) ||
               intersectsNode(level + 1, 2 * index + 1, a, b, segmentLength);
    case NT_RisingLeaf:
        return GlmExt::intersectAabbDiagonalSegment(node.centre, node.direction, node.length, a, b,
                                                    segmentLength, true);
    default:
        return GlmExt::intersectAabbDiagonalSegment(node.centre, node.direction, node.length, a, b,
                                                    segmentLength, false);
    }
}

}  // namespace Ps
