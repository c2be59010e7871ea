#include "plot/plot_cache.h"

#include "debug/debug_check.h"
#include "plot/plot.h"

namespace
{

// Width of the step segment put before or after a broken end key.
constexpr float kStepWidth = 0.001f;

}  // namespace

void PlotCache::initFixed(float a, float b)
{
    segments_.clear();
    PlotCacheSeg seg;
    seg.start = 0.0f;
    seg.length = 1.0f;
    seg.values = {a, b};
    segments_.push_back(std::move(seg));
}

void PlotCache::updateFromPlot(const Plot& plot, unsigned subdivision)
{
    if (plot.getNumKeys() == 0)
    {
        initFixed(0.0f, 0.0f);
        return;
    }
    if (plot.getNumKeys() == 1)
    {
        initFixed(plot.getKey(0).getInValue(), plot.getKey(0).getOutValue());
        return;
    }
    DEBUG_ASSERT(subdivision > 0);
    std::vector<PlotCacheSeg> segments;
    segments.reserve(plot.getNumSegments() + 2);

    const PlotKey& first = plot.getKey(0);
    if (!plot.isLoopedLeft() && first.type_ == PKT_Broken &&
        first.getInValue() != first.getOutValue())
    {
        PlotCacheSeg step;
        step.start = first.time_ - kStepWidth;
        step.length = kStepWidth;
        step.values = {first.getInValue(), first.getInValue()};
        segments.push_back(std::move(step));
    }

    for (unsigned i = 0; i < plot.getNumSegments(); ++i)
    {
        const PlotKey& left = plot.getKey(i);
        const PlotKey& right = plot.getKey(i + 1);
        PlotCacheSeg seg;
        seg.start = left.time_;
        seg.length = right.time_ - left.time_;
        if (plot.getSegment(i).type_ == CST_Linear)
        {
            seg.values = {left.getOutValue(), right.getInValue()};
        }
        else
        {
            seg.values.reserve(subdivision + 1);
            for (unsigned j = 0; j <= subdivision; ++j)
                seg.values.push_back(
                    plot.computeValue(i, static_cast<float>(j) / static_cast<float>(subdivision)));
        }
        segments.push_back(std::move(seg));
    }

    const PlotKey& last = plot.getKey(plot.getNumKeys() - 1);
    if (!plot.isLoopedRight() && last.type_ == PKT_Broken &&
        last.getInValue() != last.getOutValue())
    {
        PlotCacheSeg step;
        step.start = last.time_;
        step.length = kStepWidth;
        step.values = {last.getOutValue(), last.getOutValue()};
        segments.push_back(std::move(step));
    }
    segments_.swap(segments);
}

const PlotCacheSeg& PlotCache::getSegment(unsigned index) const
{
    DEBUG_ASSERT(index < segments_.size());
    return segments_[index];
}

float PlotCache::getSegmentEnd(unsigned index) const
{
    DEBUG_ASSERT(index < segments_.size());
    if (index + 1 < segments_.size())
        return segments_[index + 1].start;
    return segments_[index].start + segments_[index].length;
}

float PlotCache::getTimeStart() const { return segments_.front().start; }

float PlotCache::getTimeEnd() const { return getSegmentEnd(getNumSegments() - 1); }
