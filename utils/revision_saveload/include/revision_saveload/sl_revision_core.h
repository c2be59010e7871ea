#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include <boost/uuid/uuid.hpp>

namespace Sl
{

class RevisionLoader;
class RevisionSaver;
class SaverLoaderManager;

// The undo store of one open resource. After each edit the whole resource is
// written as a picture (createRevision); objects that carry a revision id are
// stored once per (resource id, revision id) pair, and a later picture in
// which they haven't changed holds only their ids. Undo and redo move the
// current picture number and hand out a loader over that picture; nothing is
// erased until the next createRevision cuts the redo branch.
class RevisionCore
{
public:
    static constexpr uint32_t kNoRevision = 0xFFFFFFFF;

    // One stored state of a resource: the picture that first stored it, and its bytes.
    struct ResourceRevision
    {
        uint32_t revision = kNoRevision;
        std::vector<uint8_t> data;
    };

    explicit RevisionCore(SaverLoaderManager& manager);
    ~RevisionCore();
    RevisionCore(const RevisionCore&) = delete;
    RevisionCore& operator=(const RevisionCore&) = delete;

    SaverLoaderManager& getSaverLoaderManager() const { return manager_; }

    bool hasRevisions() const { return !revisions_.empty(); }
    bool isUndoPossible() const;
    bool isRedoPossible() const;
    void clear();

    // Starts a new picture after the current one, dropping the redo branch.
    // The picture is complete when the returned saver is released.
    std::shared_ptr<RevisionSaver> createRevision();
    // A saver for a resource's state, or null when this state is stored already.
    std::shared_ptr<RevisionSaver> beginSaveResource(const boost::uuids::uuid& resourceId,
                                                     const boost::uuids::uuid& revisionId);
    // A loader over a stored state (asserted to exist).
    std::shared_ptr<RevisionLoader> beginLoadResource(const boost::uuids::uuid& resourceId,
                                                      const boost::uuids::uuid& revisionId) const;

    std::shared_ptr<RevisionLoader> undo();
    std::shared_ptr<RevisionLoader> redo();
    std::shared_ptr<RevisionLoader> getCurrentRevision() const;

    // Keeps the newest depth pictures (up to the current one). Stored states
    // are kept: later pictures may still refer to them.
    void restrictDepth(uint32_t depth);

    // The current picture number, kNoRevision when there is none.
    uint32_t currentRevisionNumber() const { return currentRevision_; }
    size_t numPictures() const { return revisions_.size(); }
    // Number of stored states over all resources.
    size_t numResourceStates() const;
    const std::map<boost::uuids::uuid, std::map<boost::uuids::uuid, ResourceRevision>>&
    resources() const
    {
        return resources_;
    }

private:
    std::shared_ptr<RevisionLoader> loaderOver(const std::vector<uint8_t>& data) const;
    // True when a picture number lies after the current one (-1 lies before all).
    bool isAfterCurrent(uint32_t number) const;

    SaverLoaderManager& manager_;
    std::map<boost::uuids::uuid, std::map<boost::uuids::uuid, ResourceRevision>> resources_;
    std::map<uint32_t, std::vector<uint8_t>> revisions_;
    uint32_t currentRevision_ = kNoRevision;
};

}  // namespace Sl
