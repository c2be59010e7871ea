#include "plot/plot.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <glm/geometric.hpp>

#include "debug/debug_check.h"
#include "plot/glm_ext.h"
#include "plot/interp.h"

namespace
{

// Handle length of a fresh Bezier segment, as a fraction of its width.
constexpr float kDefaultHandleLength = 0.33f;

bool sameKey(const PlotKey& a, const PlotKey& b)
{
    if (a.type_ != b.type_ || a.time_ != b.time_)
        return false;
    return a.getInValue() == b.getInValue() && a.getOutValue() == b.getOutValue();
}

bool sameSeg(const PlotSeg& a, const PlotSeg& b)
{
    if (a.type_ != b.type_)
        return false;
    if (a.type_ != CST_Bezier)
        return true;
    const auto& x = static_cast<const PlotSegBezier&>(a);
    const auto& y = static_cast<const PlotSegBezier&>(b);
    return x.inDir_ == y.inDir_ && x.inLength_ == y.inLength_ && x.outDir_ == y.outDir_ &&
           x.outLength_ == y.outLength_;
}

// Unit vector of v, or `fallback` for a vector of no length.
glm::vec2 normalizedOr(glm::vec2 v, glm::vec2 fallback)
{
    const float length = glm::length(v);
    return length > 0.0f && std::isfinite(length) ? v / length : fallback;
}

}  // namespace

bool Plot::operator==(const Plot& other) const
{
    if (loopedLeft_ != other.loopedLeft_ || loopedRight_ != other.loopedRight_)
        return false;
    if (keys_.size() != other.keys_.size() || segments_.size() != other.segments_.size())
        return false;
    for (size_t i = 0; i < keys_.size(); ++i)
        if (!sameKey(keys_[i], other.keys_[i]))
            return false;
    for (size_t i = 0; i < segments_.size(); ++i)
        if (!sameSeg(segments_[i], other.segments_[i]))
            return false;
    return true;
}

const PlotKey& Plot::getKey(unsigned index) const
{
    DEBUG_ASSERT(index < keys_.size());
    return keys_[index];
}

PlotKey& Plot::key(unsigned index)
{
    DEBUG_ASSERT(index < keys_.size());
    return keys_[index];
}

const PlotSeg& Plot::getSegment(unsigned index) const
{
    DEBUG_ASSERT(index < segments_.size());
    return segments_[index];
}

// ---------------------------------------------------------------------------------------
// Evaluation

float Plot::computeValue(float time) const
{
    if (keys_.empty())
        return 0.0f;
    if (keys_.size() == 1)
    {
        const PlotKey& key = keys_[0];
        return key.time_ > time ? key.getInValue() : key.getOutValue();
    }
    const PlotKey& first = keys_[0];
    const PlotKey& last = keys_.back();
    const float span = last.time_ - first.time_;
    if (span < EPS1)
        return first.time_ > time ? first.getInValue() : last.getOutValue();

    if (time <= first.time_)
    {
        if (!loopedLeft_)
            return first.getInValue();
        time = last.time_ - static_cast<float>(std::fmod(static_cast<double>(first.time_ - time),
                                                         static_cast<double>(span)));
    }
    if (time >= last.time_)
    {
        if (!loopedRight_)
            return last.getOutValue();
        time = first.time_ + static_cast<float>(std::fmod(static_cast<double>(time - last.time_),
                                                          static_cast<double>(span)));
    }
    for (unsigned i = 0; i < segments_.size(); ++i)
    {
        const float leftTime = keys_[i].time_;
        const float rightTime = keys_[i + 1].time_;
        if (rightTime >= time)
            return computeValue(i, (time - leftTime) / (rightTime - leftTime));
    }
    return last.getOutValue();
}

boost::optional<float> Plot::solveSegmentParameter(unsigned segIndex, float t) const
{
    if (t < EPS1)
        return 0.0f;
    if (t + EPS1 >= 1.0f)
        return 1.0f;
    const PlotKey& left = keys_[segIndex];
    const PlotKey& right = keys_[segIndex + 1];
    const float dt = right.time_ - left.time_;
    const glm::vec2 in = getBezierControlPointPosition(segIndex, BCP_In);
    const glm::vec2 out = getBezierControlPointPosition(segIndex, BCP_Out);
    return solveBezierWithOneRoot(left.time_, in.x, out.x, right.time_, left.time_ + t * dt);
}

float Plot::computeValue(unsigned segIndex, float t) const
{
    DEBUG_ASSERT(segIndex < segments_.size());
    const PlotKey& left = keys_[segIndex];
    const PlotKey& right = keys_[segIndex + 1];
    const PlotSeg& seg = segments_[segIndex];
    if (seg.type_ == CST_Linear)
        return left.getOutValue() + t * (right.getInValue() - left.getOutValue());
    DEBUG_ASSERT(seg.type_ == CST_Bezier);
    const float dt = right.time_ - left.time_;
    if (dt <= EPS2)
        return left.getOutValue();
    const boost::optional<float> root = solveSegmentParameter(segIndex, t);
    if (!root)
        return 0.0f;
    const float u = *root;
    const float v = 1.0f - u;
    const glm::vec2 in = getBezierControlPointPosition(segIndex, BCP_In);
    const glm::vec2 out = getBezierControlPointPosition(segIndex, BCP_Out);
    return v * v * v * left.getOutValue() + 3.0f * v * v * u * in.y + 3.0f * v * u * u * out.y +
           u * u * u * right.getInValue();
}

boost::optional<float> Plot::solveBezierWithOneRoot(float p0, float p1, float p2, float p3, float x)
{
    const float d = p3 + 3.0f * (p1 - p2) - p0;
    if (d == 0.0f)
    {
        // No cubic term: the handles stand at exactly a third and two thirds. The Cardano forms
        // would divide by zero; solve the quadratic (or linear) equation that remains instead.
        const float qa = 3.0f * (p2 + p0 - 2.0f * p1);
        const float qb = 3.0f * (p1 - p0);
        const float qc = p0 - x;
        if (std::fabs(qa) < std::numeric_limits<float>::min())
        {
            if (qb == 0.0f)
                return boost::none;
            return -qc / qb;
        }
        const float disc = qb * qb - 4.0f * qa * qc;
        if (disc < 0.0f)
            return boost::none;
        const float s = std::sqrt(disc);
        const float r0 = (-qb + s) / (2.0f * qa);
        const float r1 = (-qb - s) / (2.0f * qa);
        if (r0 >= 0.0f && r0 <= 1.0f)
            return r0;
        if (r1 >= 0.0f && r1 <= 1.0f)
            return r1;
        return boost::none;
    }
    const float a = 3.0f * (p2 + p0 - 2.0f * p1) / d;
    const float b = 3.0f * (p1 - p0) / d;
    const float c = (p0 - x) / d;
    const float Q = (a * a - 3.0f * b) / 9.0f;
    const float R = (2.0f * a * a * a - 9.0f * a * b + 27.0f * c) / 54.0f;
    const float Q3 = Q * Q * Q;
    if (R * R < Q3)
    {
        const float theta = std::acos(R / std::sqrt(Q3)) / 3.0f;
        const float m = -2.0f * std::sqrt(Q);
        const float shift = a / 3.0f;
        const float roots[3] = {m * std::cos(theta) - shift,
                                m * std::cos(theta + 2.0943952f) - shift,
                                m * std::cos(theta - 2.0943952f) - shift};
        for (float root : roots)
            if (root >= 0.0f && root <= 1.0f)
                return root;
        return boost::none;
    }
    const float absR = std::fabs(R);
    const float A = -(R >= 0.0f ? 1.0f : -1.0f) *
                    static_cast<float>(std::pow(static_cast<double>(absR + std::sqrt(R * R - Q3)),
                                                0.3333333432674408));
    const float B = std::fabs(A) >= 1.1754944e-38f ? Q / A : 0.0f;
    return A + B - a / 3.0f;
}

glm::vec2 Plot::handleOrigin(unsigned segIndex, EnumPlotBezierControlPoint type) const
{
    if (type == BCP_In)
    {
        const PlotKey& left = keys_[segIndex];
        return glm::vec2(left.time_, left.getOutValue());
    }
    const PlotKey& right = keys_[segIndex + 1];
    return glm::vec2(right.time_, right.getInValue());
}

glm::vec2 Plot::getBezierControlPointPosition(unsigned segIndex,
                                              EnumPlotBezierControlPoint type) const
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(type == BCP_In || type == BCP_Out);
    const glm::vec2 origin = handleOrigin(segIndex, type);
    const PlotSeg& seg = segments_[segIndex];
    if (seg.type_ != CST_Bezier)
        return origin;
    const auto& bezier = static_cast<const PlotSegBezier&>(seg);
    const float dt = keys_[segIndex + 1].time_ - keys_[segIndex].time_;
    const glm::vec2 dir = type == BCP_In ? bezier.inDir_ : bezier.outDir_;
    const float len = type == BCP_In ? bezier.inLength_ : bezier.outLength_;
    return glm::vec2(origin.x + dir.x * len * dt, origin.y + dir.y * len * dt);
}

PlotBezierControlPoint Plot::getBezierControlPoint(unsigned segIndex,
                                                   EnumPlotBezierControlPoint type) const
{
    DEBUG_ASSERT(type == BCP_In || type == BCP_Out);
    const PlotSegBezier& bezier = bezierSegment(segIndex);
    return type == BCP_In ? PlotBezierControlPoint(bezier.inDir_, bezier.inLength_)
                          : PlotBezierControlPoint(bezier.outDir_, bezier.outLength_);
}

glm::vec2 Plot::bezierPoint(unsigned segIndex, float u) const
{
    const PlotKey& left = keys_[segIndex];
    const PlotKey& right = keys_[segIndex + 1];
    return Interp::bezierPoint(glm::vec2(left.time_, left.getOutValue()),
                               getBezierControlPointPosition(segIndex, BCP_In),
                               getBezierControlPointPosition(segIndex, BCP_Out),
                               glm::vec2(right.time_, right.getInValue()), u);
}

boost::optional<PlotBoundaries>
Plot::computeBoundaries(const boost::optional<PlotBoundaries>& existing) const
{
    if (keys_.empty())
        return existing;
    boost::optional<PlotBoundaries> result = existing;
    auto add = [&result](glm::vec2 p)
    {
        if (!result)
        {
            result = PlotBoundaries(p, p);
        }
        else
        {
            result->first = glm::min(result->first, p);
            result->second = glm::max(result->second, p);
        }
    };
    if (keys_.size() == 1)
    {
        const PlotKey& key = keys_[0];
        add(glm::vec2(key.time_, key.getInValue()));
        add(glm::vec2(key.time_, key.getOutValue()));
        return result;
    }
    for (unsigned i = 0; i < segments_.size(); ++i)
    {
        const float leftTime = keys_[i].time_;
        const float dt = keys_[i + 1].time_ - leftTime;
        for (int j = 0; j <= 8; ++j)
        {
            const float t = static_cast<float>(j) * 0.125f;
            add(glm::vec2(leftTime + t * dt, computeValue(i, t)));
        }
    }
    return result;
}

glm::vec2 Plot::computeNearestPoint(unsigned segIndex, glm::vec2 point, glm::vec2 scale) const
{
    DEBUG_ASSERT(segIndex < segments_.size());
    const PlotKey& left = keys_[segIndex];
    const PlotKey& right = keys_[segIndex + 1];
    const glm::vec2 p0(left.time_, left.getOutValue());
    const glm::vec2 p3(right.time_, right.getInValue());
    const float dt = right.time_ - left.time_;
    if (dt <= EPS2)
        return p0;
    const glm::vec3 p(point * scale, 0.0f);
    if (segments_[segIndex].type_ == CST_Linear)
    {
        const glm::vec3 q = GlmExt::closestPointOnLineSegment(p, glm::vec3(p0 * scale, 0.0f),
                                                              glm::vec3(p3 * scale, 0.0f));
        return glm::vec2(q) / scale;
    }
    const glm::vec2 s0 = p0 * scale;
    const glm::vec2 s1 = getBezierControlPointPosition(segIndex, BCP_In) * scale;
    const glm::vec2 s2 = getBezierControlPointPosition(segIndex, BCP_Out) * scale;
    const glm::vec2 s3 = p3 * scale;
    glm::vec2 linePoints[257];
    const unsigned numLinePoints =
        Interp::bezierToLines<256>(s0, s1, s2, s3, linePoints, 0.01f * dt * scale.x);
    DEBUG_ASSERT(numLinePoints > 1);
    float bestDistance2 = std::numeric_limits<float>::max();
    float bestFraction = 0.0f;
    for (unsigned i = 0; i + 1 < numLinePoints; ++i)
    {
        const glm::vec3 a(linePoints[i], 0.0f);
        const glm::vec3 b(linePoints[i + 1], 0.0f);
        const glm::vec3 q = GlmExt::closestPointOnLineSegment(p, a, b);
        const float distance2 = glm::dot(q - p, q - p);
        if (distance2 < bestDistance2)
        {
            bestDistance2 = distance2;
            const float ab = glm::length(b - a);
            bestFraction = static_cast<float>(i) + (ab > 0.0f ? glm::length(q - a) / ab : 0.0f);
        }
    }
    const float u = bestFraction / static_cast<float>(numLinePoints - 1);
    return Interp::bezierPoint(s0, s1, s2, s3, u) / scale;
}

// ---------------------------------------------------------------------------------------
// Plain edits

namespace
{

// Copies `seg` into `segments` as its own kind.
void insertSegInto(ObjVector<PlotSeg>& segments, size_t index, const PlotSeg& seg)
{
    if (seg.type_ == CST_Linear)
    {
        segments.insert(index, PlotSegLinear());
    }
    else
    {
        DEBUG_ASSERT(seg.type_ == CST_Bezier);
        segments.insert(index, static_cast<const PlotSegBezier&>(seg));
    }
}

}  // namespace

// The key and segment arguments of the edits may be items of this plot: each is copied
// before the lists change.

void Plot::insertKeyCopy(unsigned index, const PlotKey& key)
{
    switch (key.type_)
    {
    case PKT_Smooth:
        keys_.insert(index, PlotKeySmooth(key.time_, key.getInValue()));
        break;
    case PKT_Corner:
        keys_.insert(index, PlotKeyCorner(key.time_, key.getInValue()));
        break;
    default:
        DEBUG_ASSERT(key.type_ == PKT_Broken);
        keys_.insert(index, PlotKeyBroken(key.time_, key.getInValue(), key.getOutValue()));
        break;
    }
}

void Plot::insertSegCopy(unsigned index, const PlotSeg& seg)
{
    insertSegInto(segments_, index, seg);
}

void Plot::replaceKeyCopy(unsigned index, const PlotKey& key)
{
    switch (key.type_)
    {
    case PKT_Smooth:
        keys_.replace(index, PlotKeySmooth(key.time_, key.getInValue()));
        break;
    case PKT_Corner:
        keys_.replace(index, PlotKeyCorner(key.time_, key.getInValue()));
        break;
    default:
        DEBUG_ASSERT(key.type_ == PKT_Broken);
        keys_.replace(index, PlotKeyBroken(key.time_, key.getInValue(), key.getOutValue()));
        break;
    }
}

void Plot::replaceSegCopy(unsigned index, const PlotSeg& seg)
{
    if (seg.type_ == CST_Linear)
    {
        segments_.replace(index, PlotSegLinear());
    }
    else
    {
        DEBUG_ASSERT(seg.type_ == CST_Bezier);
        segments_.replace(index, static_cast<const PlotSegBezier&>(seg));
    }
}

PlotSegBezier& Plot::bezierSegment(unsigned segIndex)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(segments_[segIndex].type_ == CST_Bezier);
    return static_cast<PlotSegBezier&>(segments_[segIndex]);
}

const PlotSegBezier& Plot::bezierSegment(unsigned segIndex) const
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(segments_[segIndex].type_ == CST_Bezier);
    return static_cast<const PlotSegBezier&>(segments_[segIndex]);
}

void Plot::assertKeyOrder(unsigned index, float time) const
{
    DEBUG_ASSERT(index == 0 || keys_[index - 1].time_ <= time);
    DEBUG_ASSERT(index + 1 >= keys_.size() || time <= keys_[index + 1].time_);
}

void Plot::appendKeyBack(const PlotKey& key)
{
    DEBUG_ASSERT(keys_.empty());
    insertKeyCopy(0, key);
}

void Plot::appendKeyBackWithSegment(const PlotKey& key, const PlotSeg& seg)
{
    DEBUG_ASSERT(!keys_.empty());
    DEBUG_ASSERT(key.time_ >= keys_[keys_.size() - 1].time_);
    insertKeyCopy(getNumKeys(), key);
    insertSegCopy(getNumSegments(), seg);
}

void Plot::appendKeyFrontWithSegment(const PlotKey& key, const PlotSeg& seg)
{
    DEBUG_ASSERT(!keys_.empty());
    DEBUG_ASSERT(key.time_ <= keys_[0].time_);
    insertKeyCopy(0, key);
    insertSegCopy(0, seg);
}

void Plot::breakSegmentWithKey(unsigned segIndex, const PlotKey& key, const PlotSeg& leftSeg,
                               const PlotSeg& rightSeg)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(key.time_ >= keys_[segIndex].time_ && key.time_ <= keys_[segIndex + 1].time_);
    ObjVector<PlotSeg> parts;
    insertSegInto(parts, 0, leftSeg);
    insertSegInto(parts, 1, rightSeg);
    insertKeyCopy(segIndex + 1, key);
    replaceSegCopy(segIndex, parts[0]);
    insertSegCopy(segIndex + 1, parts[1]);
}

void Plot::convertKey(unsigned index, const PlotKey& key)
{
    DEBUG_ASSERT(index < keys_.size());
    assertKeyOrder(index, key.time_);
    replaceKeyCopy(index, key);
}

void Plot::convertSegment(unsigned index, const PlotSeg& seg)
{
    DEBUG_ASSERT(index < segments_.size());
    replaceSegCopy(index, seg);
    fixBezierControlPoints(index);
}

void Plot::setBezierControlPoint(unsigned segIndex, EnumPlotBezierControlPoint type,
                                 const PlotBezierControlPoint& controlPoint)
{
    DEBUG_ASSERT(type == BCP_In || type == BCP_Out);
    PlotSegBezier& bezier = bezierSegment(segIndex);
    if (type == BCP_In)
    {
        bezier.inDir_ = controlPoint.first;
        bezier.inLength_ = controlPoint.second;
    }
    else
    {
        bezier.outDir_ = controlPoint.first;
        bezier.outLength_ = controlPoint.second;
    }
    fixBezierControlPoints(segIndex);
}

void Plot::fixBezierControlPoints(unsigned segIndex)
{
    if (segments_[segIndex].type_ != CST_Bezier)
        return;
    PlotSegBezier& bezier = bezierSegment(segIndex);
    const float leftTime = keys_[segIndex].time_;
    const float rightTime = keys_[segIndex + 1].time_;
    const float dt = rightTime - leftTime;
    const float inTime = leftTime + bezier.inDir_.x * bezier.inLength_ * dt;
    if (inTime < leftTime || inTime > rightTime)
        bezier.inLength_ *=
            (std::clamp(inTime, leftTime, rightTime) - leftTime) / (inTime - leftTime);
    const float outTime = rightTime + bezier.outDir_.x * bezier.outLength_ * dt;
    if (outTime < leftTime || outTime > rightTime)
        bezier.outLength_ *=
            (std::clamp(outTime, leftTime, rightTime) - rightTime) / (outTime - rightTime);
}

void Plot::setBezierControlPointPosition(unsigned segIndex, EnumPlotBezierControlPoint type,
                                         glm::vec2 position)
{
    DEBUG_ASSERT(type == BCP_In || type == BCP_Out);
    PlotSegBezier& bezier = bezierSegment(segIndex);
    const float leftTime = keys_[segIndex].time_;
    const float rightTime = keys_[segIndex + 1].time_;
    const float dt = rightTime - leftTime;
    position.x = std::clamp(position.x, leftTime, rightTime);
    const glm::vec2 offset = position - handleOrigin(segIndex, type);
    const float distance = glm::length(offset);
    glm::vec2& dir = type == BCP_In ? bezier.inDir_ : bezier.outDir_;
    float& len = type == BCP_In ? bezier.inLength_ : bezier.outLength_;
    // A handle put onto its key keeps its direction with no length; a segment of no width
    // can hold no length either.
    if (distance > 0.0f)
        dir = offset / distance;
    len = dt > 0.0f ? distance / dt : 0.0f;
    fixBezierControlPoints(segIndex);
}

void Plot::directBezierControlPoint(unsigned segIndex, EnumPlotBezierControlPoint type,
                                    glm::vec2 direction, glm::vec2 scale)
{
    DEBUG_ASSERT(type == BCP_In || type == BCP_Out);
    PlotSegBezier& bezier = bezierSegment(segIndex);
    if (glm::length(direction) < EPS1)
        return;
    const glm::vec2 origin = handleOrigin(segIndex, type);
    const float d0 = glm::length((getBezierControlPointPosition(segIndex, type) - origin) * scale);
    glm::vec2& dir = type == BCP_In ? bezier.inDir_ : bezier.outDir_;
    float& len = type == BCP_In ? bezier.inLength_ : bezier.outLength_;
    dir = glm::normalize(direction);
    const float d1 = glm::length((getBezierControlPointPosition(segIndex, type) - origin) * scale);
    if (d0 > EPS1 && d1 > EPS1)
        len *= d0 / d1;
    fixBezierControlPoints(segIndex);
}

void Plot::deleteKey(unsigned index)
{
    DEBUG_ASSERT(index < keys_.size());
    keys_.erase(index);
    if (!segments_.empty())
        segments_.erase(std::min<size_t>(segments_.size() - 1, index));
}

// ---------------------------------------------------------------------------------------
// Edits that keep the curve tidy

void Plot::autoAlignBezierControlPoint(unsigned segIndex, EnumPlotBezierControlPoint type,
                                       glm::vec2 scale)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(type == BCP_In || type == BCP_Out);
    if (segments_[segIndex].type_ != CST_Bezier)
        return;
    if (type == BCP_In)
    {
        if (segIndex == 0 || segments_[segIndex - 1].type_ != CST_Bezier)
            return;
        const PlotKey& key = keys_[segIndex];
        if (key.type_ != PKT_Smooth)
            return;
        const glm::vec2 keyPoint(key.time_, key.getInValue());
        const glm::vec2 other = getBezierControlPointPosition(segIndex - 1, BCP_Out);
        directBezierControlPoint(segIndex, BCP_In, keyPoint - other, scale);
    }
    else
    {
        if (segIndex + 1 >= segments_.size() || segments_[segIndex + 1].type_ != CST_Bezier)
            return;
        const PlotKey& key = keys_[segIndex + 1];
        if (key.type_ != PKT_Smooth)
            return;
        const glm::vec2 keyPoint(key.time_, key.getOutValue());
        const glm::vec2 other = getBezierControlPointPosition(segIndex + 1, BCP_In);
        directBezierControlPoint(segIndex, BCP_Out, keyPoint - other, scale);
    }
}

void Plot::autoAlignBezierControlPointsAfterKeyChanged(unsigned keyIndex, glm::vec2 scale)
{
    DEBUG_ASSERT(keyIndex < keys_.size());
    if (keys_[keyIndex].type_ != PKT_Smooth)
        return;
    if (keyIndex > 0)
        autoAlignBezierControlPoint(keyIndex - 1, BCP_Out, scale);
    if (keyIndex < segments_.size())
        autoAlignBezierControlPoint(keyIndex, BCP_In, scale);
}

void Plot::appendKeyBackWithAutoSegment(float time, glm::vec2 scale)
{
    DEBUG_ASSERT(keys_.empty() || time >= keys_[keys_.size() - 1].time_);
    if (keys_.empty())
    {
        keys_.pushBack(PlotKeySmooth(time, 0.0f));
        return;
    }
    const PlotKey& last = keys_.back();
    const uint32_t lastType = last.type_;
    const glm::vec2 lastPoint(last.time_, last.getOutValue());
    const float value = last.getOutValue();
    const bool hadSegment = !segments_.empty();
    const bool linear = hadSegment && segments_.back().type_ == CST_Linear;
    if (lastType == PKT_Broken)
        keys_.pushBack(PlotKeyBroken(time, value, value));
    else if (lastType == PKT_Corner)
        keys_.pushBack(PlotKeyCorner(time, value));
    else
        keys_.pushBack(PlotKeySmooth(time, value));
    if (linear)
    {
        segments_.pushBack(PlotSegLinear());
        return;
    }
    const glm::vec2 dir = normalizedOr(glm::vec2(time, value) - lastPoint, glm::vec2(1.0f, 0.0f));
    segments_.pushBack(PlotSegBezier(dir, kDefaultHandleLength, -dir, kDefaultHandleLength));
    if (hadSegment && lastType == PKT_Smooth)
        autoAlignBezierControlPoint(getNumSegments() - 1, BCP_In, scale);
}

void Plot::appendKeyFrontWithAutoSegment(float time, glm::vec2 scale)
{
    DEBUG_ASSERT(keys_.empty() || time <= keys_[0].time_);
    if (keys_.empty())
    {
        keys_.pushBack(PlotKeySmooth(time, 0.0f));
        return;
    }
    const PlotKey& first = keys_[0];
    const uint32_t firstType = first.type_;
    const glm::vec2 firstPoint(first.time_, first.getInValue());
    const float value = first.getInValue();
    const bool hadSegment = !segments_.empty();
    const bool linear = hadSegment && segments_[0].type_ == CST_Linear;
    if (firstType == PKT_Broken)
        keys_.insert(0, PlotKeyBroken(time, value, value));
    else if (firstType == PKT_Corner)
        keys_.insert(0, PlotKeyCorner(time, value));
    else
        keys_.insert(0, PlotKeySmooth(time, value));
    if (linear)
    {
        segments_.insert(0, PlotSegLinear());
        return;
    }
    const glm::vec2 dir = normalizedOr(firstPoint - glm::vec2(time, value), glm::vec2(1.0f, 0.0f));
    segments_.insert(0, PlotSegBezier(dir, kDefaultHandleLength, -dir, kDefaultHandleLength));
    if (hadSegment && firstType == PKT_Smooth)
        autoAlignBezierControlPoint(0, BCP_Out, scale);
}

void Plot::breakSegmentWithKeyAuto(unsigned segIndex, const PlotKey& key, glm::vec2 scale)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(key.time_ >= keys_[segIndex].time_ && key.time_ <= keys_[segIndex + 1].time_);
    if (segments_[segIndex].type_ == CST_Linear)
    {
        insertKeyCopy(segIndex + 1, key);
        segments_.insert(segIndex + 1, PlotSegLinear());
        return;
    }
    const PlotKey& left = keys_[segIndex];
    const PlotKey& right = keys_[segIndex + 1];
    const glm::vec2 p0(left.time_, left.getOutValue());
    const glm::vec2 p3(right.time_, right.getInValue());
    const glm::vec2 h1 = getBezierControlPointPosition(segIndex, BCP_In);
    const glm::vec2 h2 = getBezierControlPointPosition(segIndex, BCP_Out);
    const float dt = right.time_ - left.time_;
    const float t = dt > 0.0f ? (key.time_ - left.time_) / dt : 0.0f;
    // Where the solver finds nothing the time fraction is the best guess of the parameter.
    const float u = solveSegmentParameter(segIndex, t).value_or(t);
    const float chord = glm::length(p3 - p0);
    const glm::vec2 tangent =
        normalizedOr(p0 * (6.0f * u * u - 6.0f * u) + (h1 - p0) * (3.0f * u * u - 4.0f * u + 1.0f) +
                         p3 * (6.0f * u - 6.0f * u * u) + (p3 - h2) * (3.0f * u * u - 2.0f * u),
                     glm::vec2(1.0f, 0.0f));
    const glm::vec2 keyPoint(key.time_, key.getInValue());
    const glm::vec2 leftPosition = keyPoint - tangent * u * chord * 0.25f;
    const glm::vec2 rightPosition = keyPoint + tangent * (1.0f - u) * chord * 0.25f;
    const PlotBezierControlPoint remembered = getBezierControlPoint(segIndex, BCP_Out);
    insertKeyCopy(segIndex + 1, key);
    segments_.insert(segIndex + 1, PlotSegBezier());
    setBezierControlPointPosition(segIndex, BCP_Out, leftPosition);
    setBezierControlPointPosition(segIndex + 1, BCP_In, rightPosition);
    setBezierControlPoint(segIndex + 1, BCP_Out, remembered);
    autoAlignBezierControlPointsAfterKeyChanged(segIndex + 1, scale);
}

void Plot::convertKeyAuto(unsigned index, const PlotKey& key, glm::vec2 scale)
{
    convertKey(index, key);
    autoAlignBezierControlPointsAfterKeyChanged(index, scale);
}

void Plot::convertSegmentAuto(unsigned segIndex, EnumPlotSegType type, glm::vec2 scale)
{
    DEBUG_ASSERT(segIndex < segments_.size());
    DEBUG_ASSERT(type == CST_Linear || type == CST_Bezier);
    if (type == CST_Linear)
    {
        segments_.replace(segIndex, PlotSegLinear());
        if (segIndex > 0)
            autoAlignBezierControlPoint(segIndex - 1, BCP_Out, scale);
        if (segIndex + 1 < segments_.size())
            autoAlignBezierControlPoint(segIndex + 1, BCP_In, scale);
        return;
    }
    if (segments_[segIndex].type_ != CST_Linear)
        return;
    const PlotKey& left = keys_[segIndex];
    const PlotKey& right = keys_[segIndex + 1];
    const float width = right.time_ - left.time_;
    const glm::vec2 v(width, right.getInValue() - left.getOutValue());
    const float vLength = glm::length(v);
    const glm::vec2 dir = normalizedOr(v, glm::vec2(1.0f, 0.0f));
    const float length =
        width < EPS1 ? kDefaultHandleLength : kDefaultHandleLength * vLength / width;
    segments_.replace(segIndex, PlotSegBezier(dir, length, -dir, length));
    fixBezierControlPoints(segIndex);
    autoAlignBezierControlPoint(segIndex, BCP_In, scale);
    autoAlignBezierControlPoint(segIndex, BCP_Out, scale);
}

void Plot::deleteKeyAuto(unsigned index, glm::vec2 scale)
{
    DEBUG_ASSERT(index < keys_.size());
    boost::optional<PlotBezierControlPoint> remembered;
    if (index > 0 && index + 1 < keys_.size() && segments_[index - 1].type_ == CST_Bezier &&
        segments_[index].type_ == CST_Bezier)
        remembered = getBezierControlPoint(index, BCP_Out);
    deleteKey(index);
    if (remembered)
        setBezierControlPoint(index - 1, BCP_Out, *remembered);
    if (index > 0)
        autoAlignBezierControlPointsAfterKeyChanged(index - 1, scale);
}
