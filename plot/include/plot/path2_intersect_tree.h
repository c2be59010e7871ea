#pragma once

#include <memory>
#include <vector>

#include <glm/vec2.hpp>

#include "plot/path_cache.h"

// A tree of boxes over the lines of a resampled 2D path, for the runtime's test of a
// particle's move against the path. Each level is a flat list; the children of node i of a
// level are nodes 2i and 2i + 1 of the next level, so the levels can be stored as plain
// arrays. Level 0 holds the root alone.
class Path2IntersectTree
{
public:
    enum NodeType : uint8_t
    {
        NT_Box = 0,      // an inner node
        NT_Rising = 1,   // a line from the box's low corner to its high corner
        NT_Falling = 2,  // a line along the other diagonal
    };

    struct Node
    {
        NodeType type = NT_Box;
        glm::vec2 centre{0.0f};
        glm::vec2 direction{0.0f};  // unit vector from the centre to the high corner
        float length = 0.0f;        // half the box's diagonal

        glm::vec2 low() const { return centre - direction * length; }
        glm::vec2 high() const { return centre + direction * length; }
    };

    // Builds the tree over all lines of all segments of the cache, in order.
    static std::unique_ptr<Path2IntersectTree>
    createFromPathCache2(const PathCache<glm::vec2>& cache);

    unsigned getNumLevels() const { return static_cast<unsigned>(levels_.size()); }
    const std::vector<Node>& getLevel(unsigned index) const;

    // A node whose box has the corners low and high.
    static Node makeNode(NodeType type, glm::vec2 low, glm::vec2 high);

private:
    std::vector<std::vector<Node>> levels_;
};
