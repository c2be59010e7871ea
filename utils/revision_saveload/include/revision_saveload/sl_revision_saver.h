#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "revision_saveload/sl_saver.h"

namespace Sl
{

class RevisionCore;
class SaverBinFlex;

// The saver through which the model writes. Every Saver operation goes to the
// inner SaverBinFlex. With a core behind it, objects that carry a revision
// (blocks, emitters) are stored once per (resource id, revision id) in the
// core, and later pictures hold only their ids. Without a core ("plain"),
// beginSaveResource returns this saver itself and everything goes in line:
// that is what files, the clipboard and drag data write.
//
// If a target vector is given, the inner saver's bytes are moved into it when
// this saver is destroyed: a picture or a stored state is complete only once
// its saver is gone.
class RevisionSaver final : public Saver, public std::enable_shared_from_this<RevisionSaver>
{
public:
    // Over a caller's saver, which must outlive this one.
    RevisionSaver(RevisionCore* core, SaverBinFlex& saver, std::vector<uint8_t>* target);
    // Owning the inner saver (what the core makes).
    RevisionSaver(RevisionCore* core, std::unique_ptr<SaverBinFlex> saver,
                  std::vector<uint8_t>* target);
    // Plain, over any saver (one that records names and values, for example): everything goes
    // in line to `out`, which must outlive this one. getSaver() is not available.
    explicit RevisionSaver(Saver& out);
    ~RevisionSaver() override;
    RevisionSaver(const RevisionSaver&) = delete;
    RevisionSaver& operator=(const RevisionSaver&) = delete;

    // The saver to write the state of a resource into, or null when the core
    // holds that state already (then the caller writes nothing). Without a core:
    // this saver. A plain saver that isn't held by a shared pointer hands out a
    // pointer that doesn't own it.
    std::shared_ptr<RevisionSaver> beginSaveResource(const boost::uuids::uuid& resourceId,
                                                     const boost::uuids::uuid& revisionId);

    SaverBinFlex& getSaver();
    const SaverBinFlex& getSaver() const;
    RevisionCore* getCore() const { return core_; }

    void startGroup(const char* name, uint32_t version = 0) override;
    void write(const char* name, bool value) override;
    void write(const char* name, int8_t value) override;
    void write(const char* name, uint8_t value) override;
    void write(const char* name, int16_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, uint16_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, int32_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, uint32_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, int64_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, uint64_t value, EnumPackedHint hint = PH_Packed) override;
    void write(const char* name, float value) override;
    void write(const char* name, double value) override;
    void writeBinary(const char* name, const uint8_t* data, uint32_t size) override;
    void endGroup() override;

private:
    std::shared_ptr<RevisionSaver> self();

    RevisionCore* core_;
    std::unique_ptr<SaverBinFlex> owned_;
    SaverBinFlex* saver_;
    // Where the values go: the binary saver, or the saver of the plain form over any saver.
    Saver* out_;
    std::vector<uint8_t>* target_;
};

}  // namespace Sl
