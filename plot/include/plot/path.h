#pragma once

#include <cstdint>
#include <vector>

#include <glm/geometric.hpp>

#include "debug/debug_check.h"
#include "plot/interp.h"
#include "plot/obj_vector.h"

// A key point of a path: smooth (corner false) or a corner, where the two handles are free.
template <class T>
struct PathKey
{
    bool corner = false;
    T value{};

    PathKey() = default;
    PathKey(bool isCorner, const T& point) : corner(isCorner), value(point) {}
    bool operator==(const PathKey& other) const
    {
        return corner == other.corner && value == other.value;
    }
};

enum EnumPathSegType : uint32_t
{
    PST_Linear = 0,
    PST_Bezier = 1,
    PST_Broken = 2,  // the path is cut between the two keys; walking skips it
};

class PathSeg
{
public:
    EnumPathSegType type_;

protected:
    explicit PathSeg(EnumPathSegType type) : type_(type) {}
};

class PathSegLinear : public PathSeg
{
public:
    PathSegLinear() : PathSeg(PST_Linear) {}
};

class PathSegBroken : public PathSeg
{
public:
    PathSegBroken() : PathSeg(PST_Broken) {}
};

// A cubic Bezier segment; its controls are absolute points in the path's plane.
template <class T>
class PathSegBezier : public PathSeg
{
public:
    PathSegBezier() : PathSeg(PST_Bezier) {}
    PathSegBezier(const T& inControl, const T& outControl)
        : PathSeg(PST_Bezier), inControl_(inControl), outControl_(outControl)
    {
    }

    T inControl_{};   // leaving the left key
    T outControl_{};  // arriving at the right key
};

// A polyline and Bezier path in a plane, walked by arc length. Invariant: no key and no
// segment, or n keys and n - 1 segments, segment i joining keys i and i + 1. The path editor
// edits the lists directly through the operations below.
template <class T>
class Path
{
public:
    Path() = default;

    bool operator==(const Path& other) const;
    bool operator!=(const Path& other) const { return !(*this == other); }

    unsigned getNumKeys() const { return static_cast<unsigned>(keys_.size()); }
    const PathKey<T>& getKey(unsigned index) const
    {
        DEBUG_ASSERT(index < keys_.size());
        return keys_[index];
    }
    PathKey<T>& key(unsigned index)
    {
        DEBUG_ASSERT(index < keys_.size());
        return keys_[index];
    }
    unsigned getNumSegments() const { return static_cast<unsigned>(segments_.size()); }
    const PathSeg& getSegment(unsigned index) const
    {
        DEBUG_ASSERT(index < segments_.size());
        return segments_[index];
    }
    PathSeg& segment(unsigned index)
    {
        DEBUG_ASSERT(index < segments_.size());
        return segments_[index];
    }
    const PathSegBezier<T>& getBezierSegment(unsigned index) const
    {
        DEBUG_ASSERT(getSegment(index).type_ == PST_Bezier);
        return static_cast<const PathSegBezier<T>&>(segments_[index]);
    }
    PathSegBezier<T>& bezierSegment(unsigned index)
    {
        DEBUG_ASSERT(getSegment(index).type_ == PST_Bezier);
        return static_cast<PathSegBezier<T>&>(segments_[index]);
    }

    // The point at parameter t (0 to 1) of a segment; for a Bezier the curve's own parameter.
    T computeValue(unsigned segIndex, float t) const;
    // Linear: the distance of the keys; broken: 0; Bezier: the sum of 40 chords.
    float computeLength(unsigned segIndex) const;

    // Appends the key and, unless it is the first, a linear segment in front of it.
    void appendKeyBack(const PathKey<T>& key);
    // The editor's list operations. A segment argument is copied as its own kind.
    void appendKeyBackWithSegment(const PathKey<T>& key, const PathSeg& seg);
    void appendKeyFrontWithSegment(const PathKey<T>& key, const PathSeg& seg);
    // Puts `key` behind key segIndex; `leftSeg` replaces the segment and `rightSeg` follows.
    void breakSegmentWithKey(unsigned segIndex, const PathKey<T>& key, const PathSeg& leftSeg,
                             const PathSeg& rightSeg);
    void convertSegment(unsigned segIndex, const PathSeg& seg);
    // Removes the key and the segment min(number of segments - 1, index).
    void deleteKey(unsigned index);
    void clear();

private:
    // Copies `seg` into `segments` as its own kind. The segment arguments of the edits may be
    // items of this path: they are copied before the lists change.
    static void insertSegInto(ObjVector<PathSeg>& segments, unsigned index, const PathSeg& seg);

    std::vector<PathKey<T>> keys_;
    ObjVector<PathSeg> segments_;
};

template <class T>
bool Path<T>::operator==(const Path& other) const
{
    if (keys_ != other.keys_ || segments_.size() != other.segments_.size())
        return false;
    for (size_t i = 0; i < segments_.size(); ++i)
    {
        const PathSeg& a = segments_[i];
        const PathSeg& b = other.segments_[i];
        if (a.type_ != b.type_)
            return false;
        if (a.type_ == PST_Bezier)
        {
            const auto& x = static_cast<const PathSegBezier<T>&>(a);
            const auto& y = static_cast<const PathSegBezier<T>&>(b);
            if (x.inControl_ != y.inControl_ || x.outControl_ != y.outControl_)
                return false;
        }
    }
    return true;
}

template <class T>
T Path<T>::computeValue(unsigned segIndex, float t) const
{
    DEBUG_ASSERT(segIndex < segments_.size());
    const T& a = keys_[segIndex].value;
    const T& b = keys_[segIndex + 1].value;
    const PathSeg& seg = segments_[segIndex];
    switch (seg.type_)
    {
    case PST_Linear:
        return a + (b - a) * t;
    case PST_Broken:
        return t < 0.5f ? a : b;
    default:
    {
        DEBUG_ASSERT(seg.type_ == PST_Bezier);
        const auto& bezier = static_cast<const PathSegBezier<T>&>(seg);
        return Interp::bezierPoint(a, bezier.inControl_, bezier.outControl_, b, t);
    }
    }
}

template <class T>
float Path<T>::computeLength(unsigned segIndex) const
{
    DEBUG_ASSERT(segIndex < segments_.size());
    const PathSeg& seg = segments_[segIndex];
    switch (seg.type_)
    {
    case PST_Linear:
        return glm::distance(keys_[segIndex].value, keys_[segIndex + 1].value);
    case PST_Broken:
        return 0.0f;
    default:
    {
        float length = 0.0f;
        T previous = computeValue(segIndex, 0.0f);
        for (int j = 1; j <= 40; ++j)
        {
            const T point = computeValue(segIndex, static_cast<float>(j) * 0.025f);
            length += glm::distance(previous, point);
            previous = point;
        }
        return length;
    }
    }
}

template <class T>
void Path<T>::insertSegInto(ObjVector<PathSeg>& segments, unsigned index, const PathSeg& seg)
{
    switch (seg.type_)
    {
    case PST_Linear:
        segments.insert(index, PathSegLinear());
        break;
    case PST_Broken:
        segments.insert(index, PathSegBroken());
        break;
    default:
        DEBUG_ASSERT(seg.type_ == PST_Bezier);
        segments.insert(index, static_cast<const PathSegBezier<T>&>(seg));
        break;
    }
}

template <class T>
void Path<T>::appendKeyBack(const PathKey<T>& key)
{
    const PathKey<T> copy = key;
    keys_.push_back(copy);
    if (keys_.size() > 1)
        segments_.pushBack(PathSegLinear());
}

template <class T>
void Path<T>::appendKeyBackWithSegment(const PathKey<T>& key, const PathSeg& seg)
{
    DEBUG_ASSERT(!keys_.empty());
    insertSegInto(segments_, getNumSegments(), seg);
    keys_.push_back(key);
}

template <class T>
void Path<T>::appendKeyFrontWithSegment(const PathKey<T>& key, const PathSeg& seg)
{
    DEBUG_ASSERT(!keys_.empty());
    insertSegInto(segments_, 0, seg);
    keys_.insert(keys_.begin(), key);
}

template <class T>
void Path<T>::breakSegmentWithKey(unsigned segIndex, const PathKey<T>& key, const PathSeg& leftSeg,
                                  const PathSeg& rightSeg)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    ObjVector<PathSeg> parts;
    insertSegInto(parts, 0, leftSeg);
    insertSegInto(parts, 1, rightSeg);
    const PathKey<T> copy = key;
    keys_.insert(keys_.begin() + segIndex + 1, copy);
    segments_.erase(segIndex);
    insertSegInto(segments_, segIndex, parts[0]);
    insertSegInto(segments_, segIndex + 1, parts[1]);
}

template <class T>
void Path<T>::convertSegment(unsigned segIndex, const PathSeg& seg)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(seg.type_ == PST_Linear || seg.type_ == PST_Bezier || seg.type_ == PST_Broken);
    ObjVector<PathSeg> parts;
    insertSegInto(parts, 0, seg);
    segments_.erase(segIndex);
    insertSegInto(segments_, segIndex, parts[0]);
}

template <class T>
void Path<T>::deleteKey(unsigned index)
{
    DEBUG_ASSERT(index < keys_.size());
    keys_.erase(keys_.begin() + index);
    if (!segments_.empty())
        segments_.erase(std::min<size_t>(segments_.size() - 1, index));
}

template <class T>
void Path<T>::clear()
{
    keys_.clear();
    segments_.clear();
}
