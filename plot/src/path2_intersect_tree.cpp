#include "plot/path2_intersect_tree.h"

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "debug/debug_check.h"

Path2IntersectTree::Node Path2IntersectTree::makeNode(NodeType type, glm::vec2 low, glm::vec2 high)
{
    Node node;
    node.type = type;
    node.centre = (low + high) / 2.0f;
    const glm::vec2 v = high - node.centre;
    node.length = glm::length(v);
    if (node.length <= 1.1920929e-7f)
    {
        node.length = 0.0f;
        node.direction = glm::vec2(0.0f);
    }
    else
    {
        node.direction = v / node.length;
    }
    return node;
}

const std::vector<Path2IntersectTree::Node>& Path2IntersectTree::getLevel(unsigned index) const
{
    DEBUG_ASSERT(index < levels_.size());
    return levels_[index];
}

std::unique_ptr<Path2IntersectTree>
Path2IntersectTree::createFromPathCache2(const PathCache<glm::vec2>& cache)
{
    // Levels from the root down; built from the leaves up by putting new levels in front.
    std::vector<std::vector<Node>> levels(1);
    std::vector<Node>& leaves = levels[0];
    for (unsigned s = 0; s < cache.getNumSegments(); ++s)
    {
        const std::vector<glm::vec2>& points = cache.getSegment(s).points;
        for (size_t i = 0; i + 1 < points.size(); ++i)
        {
            const glm::vec2 a = points[i];
            const glm::vec2 b = points[i + 1];
            const bool rising = (a.x <= b.x && a.y <= b.y) || (b.x <= a.x && b.y <= a.y);
            leaves.push_back(
                makeNode(rising ? NT_Rising : NT_Falling, glm::min(a, b), glm::max(a, b)));
        }
    }

    while (levels.front().size() >= 2)
    {
        const std::vector<Node>& top = levels.front();
        std::vector<Node> level;
        const size_t pairs = top.size() / 2;
        for (size_t i = 0; i < pairs; ++i)
        {
            const Node& a = top[2 * i];
            const Node& b = top[2 * i + 1];
            level.push_back(
                makeNode(NT_Box, glm::min(a.low(), b.low()), glm::max(a.high(), b.high())));
        }
        const bool odd = top.size() % 2 != 0;
        levels.insert(levels.begin(), std::move(level));
        if (odd)
        {
            // The last node has no partner: it moves up a level unchanged, at index `pairs` of the
            // new level. For the child index rule to hold below it, its whole subtree moves up a
            // level too: on each level below, the nodes from 2 * index to the end.
            size_t from = 2 * pairs;
            for (size_t k = 1; k < levels.size(); ++k, from *= 2)
            {
                std::vector<Node>& below = levels[k];
                if (from >= below.size())
                    break;
                std::vector<Node>& above = levels[k - 1];
                above.insert(above.end(), below.begin() + static_cast<std::ptrdiff_t>(from),
                             below.end());
                below.erase(below.begin() + static_cast<std::ptrdiff_t>(from), below.end());
            }
        }
    }

    auto tree = std::make_unique<Path2IntersectTree>();
    tree->levels_.swap(levels);
    return tree;
}
