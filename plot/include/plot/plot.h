#pragma once

#include <cstdint>
#include <utility>

#include <boost/optional/optional.hpp>
#include <glm/vec2.hpp>

#include "plot/obj_vector.h"

// Codes of the key kinds. They are stored in files as such.
enum EnumPlotKeyType : uint32_t
{
    PKT_Smooth = 50,
    PKT_Corner = 51,
    PKT_Broken = 52,
};

enum EnumPlotSegType : uint32_t
{
    CST_Linear = 0,
    CST_Bezier = 1,
};

// The two handles of a Bezier segment: BCP_In leaves the left key at the segment's start,
// BCP_Out arrives at the right key at its end.
enum EnumPlotBezierControlPoint : uint32_t
{
    BCP_In = 0,
    BCP_Out = 1,
};

// A key of a curve: a time and the values arriving from the left and leaving to the right.
class PlotKey
{
public:
    virtual ~PlotKey() = default;
    virtual float getInValue() const = 0;
    virtual float getOutValue() const = 0;

    uint32_t type_;
    float time_;

protected:
    PlotKey(uint32_t type, float time) : type_(type), time_(time) {}
    PlotKey(const PlotKey&) = default;
    PlotKey& operator=(const PlotKey&) = default;
};

// A key with one value, the same on both sides.
class PlotKeyNonBroken : public PlotKey
{
public:
    float getInValue() const override { return value_; }
    float getOutValue() const override { return value_; }

    float value_;

protected:
    PlotKeyNonBroken(uint32_t type, float time, float value) : PlotKey(type, time), value_(value) {}
};

class PlotKeySmooth : public PlotKeyNonBroken
{
public:
    PlotKeySmooth(float time, float value) : PlotKeyNonBroken(PKT_Smooth, time, value) {}
};

class PlotKeyCorner : public PlotKeyNonBroken
{
public:
    PlotKeyCorner(float time, float value) : PlotKeyNonBroken(PKT_Corner, time, value) {}
};

// A key at which the curve jumps from the in value to the out value.
class PlotKeyBroken : public PlotKey
{
public:
    PlotKeyBroken(float time, float inValue, float outValue)
        : PlotKey(PKT_Broken, time), inValue_(inValue), outValue_(outValue)
    {
    }
    float getInValue() const override { return inValue_; }
    float getOutValue() const override { return outValue_; }

    float inValue_;
    float outValue_;
};

// What joins two neighbouring keys.
class PlotSeg
{
public:
    EnumPlotSegType type_;

protected:
    explicit PlotSeg(EnumPlotSegType type) : type_(type) {}
};

class PlotSegLinear : public PlotSeg
{
public:
    PlotSegLinear() : PlotSeg(CST_Linear) {}
};

// A cubic Bezier segment. Each handle is a unit direction in the (time, value) plane and a
// length that is a fraction of the segment's width in time, so handles stretch with the
// segment when a key moves. The out handle normally points back (negative time).
class PlotSegBezier : public PlotSeg
{
public:
    PlotSegBezier() : PlotSeg(CST_Bezier) {}
    PlotSegBezier(glm::vec2 inDir, float inLength, glm::vec2 outDir, float outLength)
        : PlotSeg(CST_Bezier),
          inDir_(inDir),
          inLength_(inLength),
          outDir_(outDir),
          outLength_(outLength)
    {
    }

    glm::vec2 inDir_{1.0f, 0.0f};
    float inLength_ = 0.33f;
    glm::vec2 outDir_{-1.0f, 0.0f};
    float outLength_ = 0.33f;
};

// A handle as it is stored: direction and length.
using PlotBezierControlPoint = std::pair<glm::vec2, float>;

// Minimum and maximum corner of a rectangle in the (time, value) plane.
using PlotBoundaries = std::pair<glm::vec2, glm::vec2>;

// A curve: a function of time given by keys and, between each two neighbouring keys, a
// segment. Invariants: no key and no segment, or n keys and n - 1 segments (segment i joins
// keys i and i + 1); key times do not decrease; Bezier handles stay within their segment's
// time range. Plain value semantics: copyable, comparable by content.
class Plot
{
public:
    static constexpr float EPS1 = 1.1920929e-7f;
    static constexpr float EPS2 = 1.1920929e-6f;

    Plot() = default;

    bool operator==(const Plot& other) const;
    bool operator!=(const Plot& other) const { return !(*this == other); }

    bool isLoopedLeft() const { return loopedLeft_; }
    void setLoopedLeft(bool looped) { loopedLeft_ = looped; }
    bool isLoopedRight() const { return loopedRight_; }
    void setLoopedRight(bool looped) { loopedRight_ = looped; }

    unsigned getNumKeys() const { return static_cast<unsigned>(keys_.size()); }
    const PlotKey& getKey(unsigned index) const;
    // The key for editing in place, as a drag of several keys does: the caller sets times and
    // values and restores the time order before the plot is used again.
    PlotKey& key(unsigned index);
    unsigned getNumSegments() const { return static_cast<unsigned>(segments_.size()); }
    const PlotSeg& getSegment(unsigned index) const;

    // The value at `time`, with the loops applied outside the keys.
    float computeValue(float time) const;
    // The value on segment `segIndex` at `t`, a fraction (0 to 1) of the segment's width in time.
    float computeValue(unsigned segIndex, float t) const;
    // The bounding rectangle of the curve (keys and sampled segments, not the handles),
    // merged with `existing`. Nothing for an empty plot without an existing rectangle.
    boost::optional<PlotBoundaries>
    computeBoundaries(const boost::optional<PlotBoundaries>& existing = boost::none) const;
    // The point of segment `segIndex` nearest to `point`, distances measured after scaling
    // both by `scale` (pixels per unit), that is, on screen.
    glm::vec2 computeNearestPoint(unsigned segIndex, glm::vec2 point, glm::vec2 scale) const;
    // The handle's position in the (time, value) plane. On a linear segment, the key's point.
    glm::vec2 getBezierControlPointPosition(unsigned segIndex,
                                            EnumPlotBezierControlPoint type) const;
    // The stored handle of a Bezier segment: direction and length.
    PlotBezierControlPoint getBezierControlPoint(unsigned segIndex,
                                                 EnumPlotBezierControlPoint type) const;

    // Plain edits: nothing is realigned.
    void appendKeyBack(const PlotKey& key);  // the first key only
    void appendKeyBackWithSegment(const PlotKey& key, const PlotSeg& seg);
    void appendKeyFrontWithSegment(const PlotKey& key, const PlotSeg& seg);
    void breakSegmentWithKey(unsigned segIndex, const PlotKey& key, const PlotSeg& leftSeg,
                             const PlotSeg& rightSeg);
    // Replaces key `index`; its time may change within its neighbours' times.
    void convertKey(unsigned index, const PlotKey& key);
    void convertSegment(unsigned index, const PlotSeg& seg);
    void setBezierControlPoint(unsigned segIndex, EnumPlotBezierControlPoint type,
                               const PlotBezierControlPoint& controlPoint);
    void setBezierControlPointPosition(unsigned segIndex, EnumPlotBezierControlPoint type,
                                       glm::vec2 position);
    void directBezierControlPoint(unsigned segIndex, EnumPlotBezierControlPoint type,
                                  glm::vec2 direction, glm::vec2 scale);
    // Removes key `index` and the segment min(number of segments - 1, index), with no care
    // for handles.
    void deleteKey(unsigned index);

    // Edits that keep the curve tidy, as the graph editor uses them. `scale` is the editor's
    // pixels per unit on both axes: smoothness is measured on screen.
    void appendKeyBackWithAutoSegment(float time, glm::vec2 scale);
    void appendKeyFrontWithAutoSegment(float time, glm::vec2 scale);
    void breakSegmentWithKeyAuto(unsigned segIndex, const PlotKey& key, glm::vec2 scale);
    void convertKeyAuto(unsigned index, const PlotKey& key, glm::vec2 scale);
    void convertSegmentAuto(unsigned segIndex, EnumPlotSegType type, glm::vec2 scale);
    void deleteKeyAuto(unsigned index, glm::vec2 scale);
    void autoAlignBezierControlPoint(unsigned segIndex, EnumPlotBezierControlPoint type,
                                     glm::vec2 scale);
    void autoAlignBezierControlPointsAfterKeyChanged(unsigned keyIndex, glm::vec2 scale);

    // Finds u in 0 to 1 with B(u) = x for a cubic in one coordinate that is monotonic, by the
    // closed trigonometric and Cardano forms in single precision.
    static boost::optional<float> solveBezierWithOneRoot(float p0, float p1, float p2, float p3,
                                                         float x);

private:
    void insertKeyCopy(unsigned index, const PlotKey& key);
    void insertSegCopy(unsigned index, const PlotSeg& seg);
    void replaceKeyCopy(unsigned index, const PlotKey& key);
    void replaceSegCopy(unsigned index, const PlotSeg& seg);
    PlotSegBezier& bezierSegment(unsigned segIndex);
    const PlotSegBezier& bezierSegment(unsigned segIndex) const;
    // The key point a handle is measured from.
    glm::vec2 handleOrigin(unsigned segIndex, EnumPlotBezierControlPoint type) const;
    // Curve parameter at the time fraction t of a Bezier segment; none if the solver found none.
    boost::optional<float> solveSegmentParameter(unsigned segIndex, float t) const;
    glm::vec2 bezierPoint(unsigned segIndex, float u) const;
    void fixBezierControlPoints(unsigned segIndex);
    void assertKeyOrder(unsigned index, float time) const;

    ObjVector<PlotKey> keys_;
    ObjVector<PlotSeg> segments_;
    bool loopedLeft_ = false;
    bool loopedRight_ = false;
};
