#include "revision_saveload/sl_revision_loader.h"

#include "debug/debug_check.h"
#include "revision_saveload/sl_revision_core.h"

namespace Sl
{

RevisionLoader::RevisionLoader(const RevisionCore* core, Loader& loader)
    : core_(core), loader_(&loader)
{
}

RevisionLoader::RevisionLoader(const RevisionCore* core, std::unique_ptr<Loader> loader)
    : core_(core), owned_(std::move(loader)), loader_(owned_.get())
{
    DEBUG_ASSERT(loader_ != nullptr);
}

RevisionLoader::~RevisionLoader() = default;

std::shared_ptr<RevisionLoader>
RevisionLoader::beginLoadResource(const boost::uuids::uuid& resourceId,
                                  const boost::uuids::uuid& revisionId)
{
    if (core_)
        return core_->beginLoadResource(resourceId, revisionId);
    if (std::shared_ptr<RevisionLoader> owner = weak_from_this().lock())
        return owner;
    return std::shared_ptr<RevisionLoader>(std::shared_ptr<RevisionLoader>(), this);
}

uint32_t RevisionLoader::startGroup(uint32_t maxVersion) { return loader_->startGroup(maxVersion); }
void RevisionLoader::read(bool& value) { loader_->read(value); }
void RevisionLoader::read(int8_t& value) { loader_->read(value); }
void RevisionLoader::read(uint8_t& value) { loader_->read(value); }
void RevisionLoader::read(int16_t& value, EnumPackedHint hint) { loader_->read(value, hint); }
void RevisionLoader::read(uint16_t& value, EnumPackedHint hint) { loader_->read(value, hint); }
void RevisionLoader::read(int32_t& value, EnumPackedHint hint) { loader_->read(value, hint); }
void RevisionLoader::read(uint32_t& value, EnumPackedHint hint) { loader_->read(value, hint); }
void RevisionLoader::read(int64_t& value, EnumPackedHint hint) { loader_->read(value, hint); }
void RevisionLoader::read(uint64_t& value, EnumPackedHint hint) { loader_->read(value, hint); }
void RevisionLoader::read(float& value) { loader_->read(value); }
void RevisionLoader::read(double& value) { loader_->read(value); }
uint32_t RevisionLoader::readBinarySize() { return loader_->readBinarySize(); }
void RevisionLoader::readBinaryData(uint8_t* data) { loader_->readBinaryData(data); }
void RevisionLoader::endGroup() { loader_->endGroup(); }
void RevisionLoader::skipGroup() { loader_->skipGroup(); }
void RevisionLoader::skipBool() { loader_->skipBool(); }
void RevisionLoader::skipInt8() { loader_->skipInt8(); }
void RevisionLoader::skipUint8() { loader_->skipUint8(); }
void RevisionLoader::skipInt16(EnumPackedHint hint) { loader_->skipInt16(hint); }
void RevisionLoader::skipUint16(EnumPackedHint hint) { loader_->skipUint16(hint); }
void RevisionLoader::skipInt32(EnumPackedHint hint) { loader_->skipInt32(hint); }
void RevisionLoader::skipUint32(EnumPackedHint hint) { loader_->skipUint32(hint); }
void RevisionLoader::skipInt64(EnumPackedHint hint) { loader_->skipInt64(hint); }
void RevisionLoader::skipUint64(EnumPackedHint hint) { loader_->skipUint64(hint); }
void RevisionLoader::skipFloat() { loader_->skipFloat(); }
void RevisionLoader::skipDouble() { loader_->skipDouble(); }
void RevisionLoader::skipBinary() { loader_->skipBinary(); }
uint64_t RevisionLoader::maxDataLeft() const { return loader_->maxDataLeft(); }
uint64_t RevisionLoader::position() const { return loader_->position(); }
void RevisionLoader::readBinary(BinarySink& sink) { loader_->readBinary(sink); }

}  // namespace Sl
