#pragma once

#include <vector>

class Plot;

// One run of values spaced evenly in time over [start, start + length], both ends included.
struct PlotCacheSeg
{
    float start = 0.0f;
    float length = 0.0f;
    std::vector<float> values;
};

// The sampled form of a curve, which the compiled effect stores: the runtime reads it with a
// binary search and a linear blend, and never solves a cubic.
class PlotCache
{
public:
    // The subdivision of the curve blocks: each Bezier segment becomes 16 values.
    static constexpr unsigned kCurveSubdivision = 15;

    PlotCache() { initFixed(0.0f, 0.0f); }
    PlotCache(const Plot& plot, unsigned subdivision) { updateFromPlot(plot, subdivision); }

    // One segment per segment of the plot: a linear one keeps its two end values, a Bezier one
    // is sampled at subdivision + 1 evenly spaced times. A broken end key that isn't looped on
    // its side gets a short segment of its outer value, so that the step shows.
    void updateFromPlot(const Plot& plot, unsigned subdivision);
    // One segment from 0 to 1 with the values a and b.
    void initFixed(float a, float b);

    unsigned getNumSegments() const { return static_cast<unsigned>(segments_.size()); }
    const PlotCacheSeg& getSegment(unsigned index) const;

    // The time at which segment `index` ends, as the compiled effect should store it: the next
    // segment's start, the last one's start + length. In float, start + length of a segment can
    // miss the next start (keys far apart in magnitude, such as -1000 and 0.001), and a time in
    // such a gap would be read from the next segment with a negative offset.
    float getSegmentEnd(unsigned index) const;

    // The time range covered: the first segment's start and the last segment's end.
    float getTimeStart() const;
    float getTimeEnd() const;

private:
    std::vector<PlotCacheSeg> segments_;
};
