#include "revision_saveload/sl_revision_core.h"

#include "debug/debug_check.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace Sl
{

RevisionCore::RevisionCore(SaverLoaderManager& manager) : manager_(manager) {}

namespace
{

// Picture numbers as the store counts them: kNoRevision stands for -1, before
// the first picture, and so is never after any other number.
bool isAfter(uint32_t number, uint32_t reference)
{
    if (number == RevisionCore::kNoRevision)
        return false;
    return reference == RevisionCore::kNoRevision || number > reference;
}

}  // namespace

bool RevisionCore::isAfterCurrent(uint32_t number) const
{
    return isAfter(number, currentRevision_);
}

RevisionCore::~RevisionCore() = default;

bool RevisionCore::isUndoPossible() const { return revisions_.count(currentRevision_ - 1) != 0; }

bool RevisionCore::isRedoPossible() const { return revisions_.count(currentRevision_ + 1) != 0; }

void RevisionCore::clear()
{
    resources_.clear();
    revisions_.clear();
    currentRevision_ = kNoRevision;
}

size_t RevisionCore::numResourceStates() const
{
    size_t count = 0;
    for (const auto& entry : resources_)
        count += entry.second.size();
    return count;
}

std::shared_ptr<RevisionSaver> RevisionCore::createRevision()
{
    // A new edit drops the redo branch: the later pictures and the states they
    // stored first.
    auto cut = currentRevision_ == kNoRevision ? revisions_.begin()
                                               : revisions_.upper_bound(currentRevision_);
    const bool erased = cut != revisions_.end();
    revisions_.erase(cut, revisions_.end());
    if (erased)
    {
        for (auto itRes = resources_.begin(); itRes != resources_.end();)
        {
            auto& states = itRes->second;
            for (auto itRev = states.begin(); itRev != states.end();)
                itRev =
                    isAfterCurrent(itRev->second.revision) ? states.erase(itRev) : std::next(itRev);
            itRes = states.empty() ? resources_.erase(itRes) : std::next(itRes);
        }
    }

    ++currentRevision_;  // from kNoRevision this wraps to 0
    std::vector<uint8_t>& picture = revisions_[currentRevision_];
    picture.clear();
    return std::make_shared<RevisionSaver>(this, std::make_unique<SaverBinFlex>(BO_Native, TC_Off),
                                           &picture);
}

std::shared_ptr<RevisionSaver> RevisionCore::beginSaveResource(const boost::uuids::uuid& resourceId,
                                                               const boost::uuids::uuid& revisionId)
{
    auto& states = resources_[resourceId];
    auto inserted = states.emplace(revisionId, ResourceRevision());
    if (!inserted.second)
        return nullptr;  // stored already: the caller writes nothing
    ResourceRevision& state = inserted.first->second;
    state.revision = currentRevision_;
    return std::make_shared<RevisionSaver>(this, std::make_unique<SaverBinFlex>(BO_Native, TC_Off),
                                           &state.data);
}

std::shared_ptr<RevisionLoader> RevisionCore::loaderOver(const std::vector<uint8_t>& data) const
{
    return std::make_shared<RevisionLoader>(
        this, std::make_unique<LoaderBinArray>(data.data(), static_cast<uint32_t>(data.size())));
}

std::shared_ptr<RevisionLoader>
RevisionCore::beginLoadResource(const boost::uuids::uuid& resourceId,
                                const boost::uuids::uuid& revisionId) const
{
    auto itRes = resources_.find(resourceId);
    DEBUG_ASSERT(itRes != resources_.end());
    auto itRev = itRes->second.find(revisionId);
    DEBUG_ASSERT(itRev != itRes->second.end());
    return loaderOver(itRev->second.data);
}

std::shared_ptr<RevisionLoader> RevisionCore::undo()
{
    DEBUG_ASSERT(isUndoPossible());
    --currentRevision_;
    auto it = revisions_.find(currentRevision_);
    DEBUG_ASSERT(it != revisions_.end());
    return loaderOver(it->second);
}

std::shared_ptr<RevisionLoader> RevisionCore::redo()
{
    DEBUG_ASSERT(isRedoPossible());
    ++currentRevision_;
    auto it = revisions_.find(currentRevision_);
    DEBUG_ASSERT(it != revisions_.end());
    return loaderOver(it->second);
}

std::shared_ptr<RevisionLoader> RevisionCore::getCurrentRevision() const
{
    DEBUG_ASSERT(hasRevisions());
    auto it = revisions_.find(currentRevision_);
    DEBUG_ASSERT(it != revisions_.end());
    return loaderOver(it->second);
}

void RevisionCore::restrictDepth(uint32_t depth)
{
    if (currentRevision_ == kNoRevision || currentRevision_ < depth)
        return;
    const uint32_t keepFrom = currentRevision_ + 1 - depth;
    revisions_.erase(revisions_.begin(), revisions_.lower_bound(keepFrom));
}

}  // namespace Sl
