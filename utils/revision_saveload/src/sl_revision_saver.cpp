#include "revision_saveload/sl_revision_saver.h"

#include "debug/debug_check.h"
#include "revision_saveload/sl_revision_core.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace Sl
{

RevisionSaver::RevisionSaver(RevisionCore* core, SaverBinFlex& saver, std::vector<uint8_t>* target)
    : core_(core), saver_(&saver), out_(&saver), target_(target)
{
}

RevisionSaver::RevisionSaver(RevisionCore* core, std::unique_ptr<SaverBinFlex> saver,
                             std::vector<uint8_t>* target)
    : core_(core), owned_(std::move(saver)), saver_(owned_.get()), out_(saver_), target_(target)
{
    DEBUG_ASSERT(saver_ != nullptr);
}

RevisionSaver::RevisionSaver(Saver& out)
    : core_(nullptr), saver_(nullptr), out_(&out), target_(nullptr)
{
}

SaverBinFlex& RevisionSaver::getSaver()
{
    DEBUG_ASSERT(saver_ != nullptr);
    return *saver_;
}

const SaverBinFlex& RevisionSaver::getSaver() const
{
    DEBUG_ASSERT(saver_ != nullptr);
    return *saver_;
}

RevisionSaver::~RevisionSaver()
{
    if (!target_)
        return;
    try
    {
        *target_ = saver_->dataAsVector();
    }
    catch (const std::exception&)
    {
        // Only a broken saver gets here; the picture stays empty.
        DEBUG_EXPECT(false);
    }
}

std::shared_ptr<RevisionSaver> RevisionSaver::self()
{
    if (std::shared_ptr<RevisionSaver> owner = weak_from_this().lock())
        return owner;
    // Not held by a shared pointer (a plain saver on the stack): a pointer
    // that shares no ownership.
    return std::shared_ptr<RevisionSaver>(std::shared_ptr<RevisionSaver>(), this);
}

std::shared_ptr<RevisionSaver>
RevisionSaver::beginSaveResource(const boost::uuids::uuid& resourceId,
                                 const boost::uuids::uuid& revisionId)
{
    if (core_)
        return core_->beginSaveResource(resourceId, revisionId);
    return self();
}

void RevisionSaver::startGroup(const char* name, uint32_t version)
{
    out_->startGroup(name, version);
}
void RevisionSaver::write(const char* name, bool value) { out_->write(name, value); }
void RevisionSaver::write(const char* name, int8_t value) { out_->write(name, value); }
void RevisionSaver::write(const char* name, uint8_t value) { out_->write(name, value); }
void RevisionSaver::write(const char* name, int16_t value, EnumPackedHint hint)
{
    out_->write(name, value, hint);
}
void RevisionSaver::write(const char* name, uint16_t value, EnumPackedHint hint)
{
    out_->write(name, value, hint);
}
void RevisionSaver::write(const char* name, int32_t value, EnumPackedHint hint)
{
    out_->write(name, value, hint);
}
void RevisionSaver::write(const char* name, uint32_t value, EnumPackedHint hint)
{
    out_->write(name, value, hint);
}
void RevisionSaver::write(const char* name, int64_t value, EnumPackedHint hint)
{
    out_->write(name, value, hint);
}
void RevisionSaver::write(const char* name, uint64_t value, EnumPackedHint hint)
{
    out_->write(name, value, hint);
}
void RevisionSaver::write(const char* name, float value) { out_->write(name, value); }
void RevisionSaver::write(const char* name, double value) { out_->write(name, value); }
void RevisionSaver::writeBinary(const char* name, const uint8_t* data, uint32_t size)
{
    out_->writeBinary(name, data, size);
}
void RevisionSaver::endGroup() { out_->endGroup(); }

}  // namespace Sl
