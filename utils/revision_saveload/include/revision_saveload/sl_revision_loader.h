#pragma once

#include <cstdint>
#include <memory>

#include <boost/uuid/uuid.hpp>

#include "revision_saveload/sl_loader.h"

namespace Sl
{

class RevisionCore;

// The loader through which the model reads: the mirror of RevisionSaver. All
// Loader operations go to the inner loader. With a core, beginLoadResource
// gives a loader over the stored state of a resource; without one, it gives
// this loader, and the state is read in line.
class RevisionLoader final : public Loader, public std::enable_shared_from_this<RevisionLoader>
{
public:
    // Over a caller's loader, which must outlive this one.
    RevisionLoader(const RevisionCore* core, Loader& loader);
    // Owning the inner loader (what the core makes).
    RevisionLoader(const RevisionCore* core, std::unique_ptr<Loader> loader);
    ~RevisionLoader() override;
    RevisionLoader(const RevisionLoader&) = delete;
    RevisionLoader& operator=(const RevisionLoader&) = delete;

    // The loader of a resource's state. Without a core: this loader (a plain
    // loader not held by a shared pointer hands out a pointer that doesn't own it).
    std::shared_ptr<RevisionLoader> beginLoadResource(const boost::uuids::uuid& resourceId,
                                                      const boost::uuids::uuid& revisionId);

    Loader& getLoader() { return *loader_; }
    const RevisionCore* getCore() const { return core_; }

    uint32_t startGroup(uint32_t maxVersion = 0) override;
    void read(bool& value) override;
    void read(int8_t& value) override;
    void read(uint8_t& value) override;
    void read(int16_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(uint16_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(int32_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(uint32_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(int64_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(uint64_t& value, EnumPackedHint hint = PH_Packed) override;
    void read(float& value) override;
    void read(double& value) override;
    uint32_t readBinarySize() override;
    void readBinaryData(uint8_t* data) override;
    void endGroup() override;
    void skipGroup() override;
    void skipBool() override;
    void skipInt8() override;
    void skipUint8() override;
    void skipInt16(EnumPackedHint hint = PH_Packed) override;
    void skipUint16(EnumPackedHint hint = PH_Packed) override;
    void skipInt32(EnumPackedHint hint = PH_Packed) override;
    void skipUint32(EnumPackedHint hint = PH_Packed) override;
    void skipInt64(EnumPackedHint hint = PH_Packed) override;
    void skipUint64(EnumPackedHint hint = PH_Packed) override;
    void skipFloat() override;
    void skipDouble() override;
    void skipBinary() override;
    uint64_t maxDataLeft() const override;
    uint64_t position() const override;
    void readBinary(BinarySink& sink) override;

private:
    const RevisionCore* core_;
    std::unique_ptr<Loader> owned_;
    Loader* loader_;
};

}  // namespace Sl
