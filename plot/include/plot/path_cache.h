#pragma once

#include <algorithm>
#include <vector>

#include <glm/geometric.hpp>

#include "debug/debug_check.h"
#include "plot/path.h"

// A run of points evenly spaced by length, between the normalised positions `normStart` and
// `normEnd` (shares of the path's whole length).
template <class T>
struct PathCacheSeg
{
    float normStart = 0.0f;
    float normEnd = 0.0f;
    std::vector<T> points;
};

// The resampled form of a path that the compiled effect stores: the runtime indexes the
// evenly spaced points directly and does no integration.
template <class T>
class PathCache
{
public:
    PathCache() { initFixed(T(0.0f)); }
    PathCache(const Path<T>& path, unsigned subdivision) { updateFromPath(path, subdivision); }

    // Broken segments are skipped; a linear one keeps its two keys; a Bezier one becomes
    // subdivision + 1 points equally spaced by arc length. `subdivision` must be at least 1.
    void updateFromPath(const Path<T>& path, unsigned subdivision);
    // Total length 0 and one segment from 0 to 1 with the points p, p.
    void initFixed(const T& point);

    float getLength() const { return length_; }
    unsigned getNumSegments() const { return static_cast<unsigned>(segments_.size()); }
    const PathCacheSeg<T>& getSegment(unsigned index) const
    {
        DEBUG_ASSERT(index < segments_.size());
        return segments_[index];
    }

private:
    // Appends the resampled points of Bezier segment segIndex; returns their length.
    static float resampleBezier(const Path<T>& path, unsigned segIndex, unsigned subdivision,
                                std::vector<T>& points);

    float length_ = 0.0f;
    std::vector<PathCacheSeg<T>> segments_;
};

template <class T>
void PathCache<T>::initFixed(const T& point)
{
    length_ = 0.0f;
    segments_.clear();
    PathCacheSeg<T> seg;
    seg.normStart = 0.0f;
    seg.normEnd = 1.0f;
    seg.points = {point, point};
    segments_.push_back(std::move(seg));
}

template <class T>
float PathCache<T>::resampleBezier(const Path<T>& path, unsigned segIndex, unsigned subdivision,
                                   std::vector<T>& points)
{
    // Arc length against parameter, at 200 parameters from 0 to 1.
    constexpr int kTableSize = 200;
    float tableLength[kTableSize];
    float tableParam[kTableSize];
    tableLength[0] = 0.0f;
    tableParam[0] = 0.0f;
    T previous = path.computeValue(segIndex, 0.0f);
    for (int j = 1; j < kTableSize; ++j)
    {
        tableParam[j] = static_cast<float>(j) * 0.0050251256f;
        const T point = path.computeValue(segIndex, tableParam[j]);
        tableLength[j] = tableLength[j - 1] + glm::distance(previous, point);
        previous = point;
    }
    const float step = tableLength[kTableSize - 1] / static_cast<float>(subdivision);
    float s = 0.0f;
    float length = 0.0f;
    for (unsigned j = 0; j <= subdivision; ++j, s += step)
    {
        const float* found = std::lower_bound(tableLength, tableLength + kTableSize, s);
        int hi;
        if (found == tableLength + kTableSize)
            hi = kTableSize - 1;
        else if (found == tableLength)
            hi = 1;
        else
            hi = static_cast<int>(found - tableLength);
        const int lo = hi - 1;
        const float span = tableLength[hi] - tableLength[lo];
        const float f = span > 0.0f ? (s - tableLength[lo]) / span : 0.0f;
        const float param = tableParam[lo] + (tableParam[hi] - tableParam[lo]) * f;
        const T point = path.computeValue(segIndex, param);
        if (!points.empty())
            length += glm::distance(points.back(), point);
        points.push_back(point);
    }
    return length;
}

template <class T>
void PathCache<T>::updateFromPath(const Path<T>& path, unsigned subdivision)
{
    if (path.getNumKeys() == 0)
    {
        initFixed(T(0.0f));
        return;
    }
    if (path.getNumKeys() == 1)
    {
        initFixed(path.getKey(0).value);
        return;
    }
    DEBUG_ASSERT(subdivision > 0);
    std::vector<PathCacheSeg<T>> segments;
    float total = 0.0f;
    for (unsigned i = 0; i < path.getNumSegments(); ++i)
    {
        const EnumPathSegType type = path.getSegment(i).type_;
        if (type == PST_Broken)
            continue;
        PathCacheSeg<T> seg;
        float length;
        if (type == PST_Linear)
        {
            const T& a = path.getKey(i).value;
            const T& b = path.getKey(i + 1).value;
            length = glm::distance(a, b);
            seg.points = {a, b};
        }
        else
        {
            length = resampleBezier(path, i, subdivision, seg.points);
        }
        seg.normStart = total;
        seg.normEnd = total + length;
        total += length;
        segments.push_back(std::move(seg));
    }
    if (segments.empty())
    {
        initFixed(T(0.0f));
        return;
    }
    if (total > 1.1754944e-38f)
    {
        for (PathCacheSeg<T>& seg : segments)
        {
            seg.normStart /= total;
            seg.normEnd /= total;
        }
    }
    length_ = total;
    segments_.swap(segments);
}
