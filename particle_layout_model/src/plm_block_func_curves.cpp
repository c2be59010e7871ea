#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plot/plot_cache.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_write_read_std.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncCurves::BlockFuncCurves() : numTracks_(*this, false, 1u)
{
    tracks_.push_back(std::make_unique<Prop<Plot>>(*this, false, Plot()));
}

BlockFuncCurves::BlockFuncCurves(LoadFlag flag) : BlockFunc(flag), numTracks_(*this) {}

BlockFuncCurves::BlockFuncCurves(const BlockFuncCurves& other)
    : BlockFunc(other),
      numTracks_(*this, other.numTracks_),
      curveEdSaveData_(other.curveEdSaveData_)
{
    for (const auto& track : other.tracks_)
        tracks_.push_back(std::make_unique<Prop<Plot>>(*this, *track));
}

std::unique_ptr<BlockFuncCurves> BlockFuncCurves::create()
{
    std::unique_ptr<BlockFuncCurves> block(new BlockFuncCurves());
    block->updateConnectors();
    return block;
}

void BlockFuncCurves::setNumTracks(const boost::optional<unsigned int>& value)
{
    if (!wouldPropChange(numTracks_, value))
        return;
    const unsigned int numTracks = value ? *value : numTracks_.getDefault();
    DEBUG_ASSERT(numTracks > 0);
    DEBUG_ASSERT(numTracks <= kMaxTracks);
    numTracks_.set(value);
    while (tracks_.size() > numTracks)
        tracks_.pop_back();
    while (tracks_.size() < numTracks)
        tracks_.push_back(std::make_unique<Prop<Plot>>(*this, false, Plot()));
    updateConnectors();
    notifyPropChanged(true);
}

void BlockFuncCurves::setTrack(unsigned int trackIndex, const boost::optional<Plot>& value)
{
    DEBUG_ASSERT(trackIndex < tracks_.size());
    setPropAndNotify(*tracks_[trackIndex], value);
}

std::unique_ptr<PropChanger<Plot>> BlockFuncCurves::trackChanger(unsigned int index)
{
    return makePropChanger(track(index), [this, index](const boost::optional<Plot>& value)
                           { setTrack(index, value); });
}

void BlockFuncCurves::setCurveEdSaveData(const std::vector<unsigned char>& data)
{
    if (data == curveEdSaveData_)
        return;
    curveEdSaveData_ = data;
    // The view state changes nothing that export writes, but it must reach the next save.
    notifyPropChanged(false);
}

void BlockFuncCurves::updateConnectors()
{
    EnumConnectorType outputType = CT_Float;
    switch (getNumTracks())
    {
    case 1:
        outputType = CT_Float;
        break;
    case 2:
        outputType = CT_Vec2;
        break;
    default:
        DEBUG_ASSERT(getNumTracks() == 3);
        outputType = CT_Vec3;
    }
    const BlockConnectorDesc descs[] = {outputDesc(outputType, kOutputConnector),
                                        inputDesc(CT_Float, kInputConnector)};
    resetConnectors(descs, 2);
}

std::unique_ptr<Block> BlockFuncCurves::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncCurves(*this));
}

void BlockFuncCurves::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    numTracks_.save("num_tracks", saver);
    for (const auto& track : tracks_)
        track->save("track", saver);
    Sl::ScopedSaverGroup edGroup("curve_ed_save", saver, 0);
    saver.write("num_items", static_cast<uint32_t>(curveEdSaveData_.size()), Sl::PH_Packed);
    for (unsigned char byte : curveEdSaveData_)
        saver.write("item", static_cast<uint8_t>(byte));
}

void BlockFuncCurves::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    numTracks_.load(loader);
    const unsigned int numTracks = numTracks_.get();
    if (numTracks == 0 || numTracks > kMaxTracks)
        throw Sl::CorruptedDataException();
    tracks_.clear();
    for (unsigned int i = 0; i < numTracks; ++i)
    {
        tracks_.push_back(std::make_unique<Prop<Plot>>(*this));
        tracks_.back()->load(loader);
    }
    Sl::ScopedLoaderGroup edGroup(loader, 0);
    uint32_t count = 0;
    loader.read(count, Sl::PH_Packed);
    Sl::Detail::checkItemCount(loader, count);
    std::vector<unsigned char> data(count);
    for (unsigned char& byte : data)
    {
        uint8_t value = 0;
        loader.read(value);
        byte = value;
    }
    curveEdSaveData_ = std::move(data);
}

namespace
{

// One "curve" of a curve operation: the track sampled as the runtime reads it. The time
// range is what the samples cover, and each segment ends where the next one starts.
void writeCurve(Sl::Saver& saver, const Plot& plot)
{
    const PlotCache cache(plot, PlotCache::kCurveSubdivision);
    Sl::ScopedSaverGroup curve("curve", saver);
    saver.write("time_start", cache.getTimeStart());
    saver.write("time_end", cache.getTimeEnd());
    saver.write("left_looped", plot.isLoopedLeft());
    saver.write("right_looped", plot.isLoopedRight());
    saver.write("num_segs", static_cast<uint32_t>(cache.getNumSegments()));
    for (unsigned int i = 0; i < cache.getNumSegments(); ++i)
    {
        const PlotCacheSeg& segment = cache.getSegment(i);
        Sl::ScopedSaverGroup group("seg", saver);
        saver.write("time_start", segment.start);
        saver.write("time_end", cache.getSegmentEnd(i));
        saver.write("num_values", static_cast<uint32_t>(segment.values.size()));
        for (float value : segment.values)
            saver.write("val", value);
    }
}

}  // namespace

void BlockFuncCurves::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(kOutputConnector, 0);
    DEBUG_ASSERT(tracks_.size() >= 1 && tracks_.size() <= kMaxTracks);
    // One track is a float, two a vec2, three a vec3.
    const auto type = static_cast<EnumConnectorType>(CT_Float + (tracks_.size() - 1));
    ExportBin::OperationScope operation(compiler,
                                        ExportBin::typedFactory(Ps::OF_FuncCurvesFloat, type));
    compiler.writeInput(*this, "input", kInputConnector);
    for (const auto& track : tracks_)
        writeCurve(operation.saver(), track->get());
}

// The count first, then the tracks by index; the editor's view state stays the block's own.
void BlockFuncCurves::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncCurves::numTracks_);
    resizeReflectedList(tracks_, numTracks_.get(),
                        [this] { return std::make_unique<Prop<Plot>>(*this); });
    for (unsigned int i = 0; i < tracks_.size(); ++i)
        syncer.syncProp<BlockFuncCurves>([i](auto& block)
                                         { return reflectedListItem(block.tracks_, i); });
}

}  // namespace Plm
