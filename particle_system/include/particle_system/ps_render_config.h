#pragma once

#include <optional>
#include <vector>

#include "particle_system/ps_types.h"

namespace Ps
{

// One draw of the host: a range of triangles of one mesh in one render style. Polygon p uses the
// indices 3p to 3p + 2 of the mesh.
struct RenderCall
{
    uint32 meshIndex;
    uint32 renderStyleIndex;
    uint32 startPolygon;
    uint32 numPolygons;
};

// Host options for SystemInst::construct, one entry per emitter of the effect.
struct RenderConfig
{
    struct Emitter
    {
        // false skips the emitter's own geometry (its children follow their own entries).
        bool render = true;
        // When set, the emitter's polygons are copied into the wireframe mesh with this id.
        std::optional<uint32> wireframeId;
        // Adds one point per particle to the positions mesh, with positionsId.
        bool renderPositions = false;
        uint32 positionsId = 0;
    };

    std::vector<Emitter> emitters;
};

}  // namespace Ps
