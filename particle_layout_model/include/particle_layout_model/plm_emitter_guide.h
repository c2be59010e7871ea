#pragma once

#include <deque>
#include <map>
#include <memory>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_guide_base.h"

namespace Plm
{

class BlockFunc;
class Emitter;

namespace Eg
{
class CustomValues;
class Generation;
class Termination;
class PositionStart;
class PositionChange;
class Rotation;
class Size;
class Transparency;
class Color;
class TexMapping;
}  // namespace Eg

// The form view of one emitter: ten sections in a fixed order over the emitter's graph, the
// three blocks no single section owns, and the shared global blocks that sections request.
class EmitterGuide
{
public:
    using Uuid = boost::uuids::uuid;

    // Links the graph once, at the end of the outermost scope: blocks come and go freely
    // inside it, and the guide's own changes don't re-enter updateFromEmitter.
    class ScopedChange
    {
    public:
        explicit ScopedChange(EmitterGuide& guide);
        ~ScopedChange() noexcept(false);
        ScopedChange(const ScopedChange&) = delete;
        ScopedChange& operator=(const ScopedChange&) = delete;

    private:
        EmitterGuide& guide_;
    };

    // A block the guide owns as a whole: whether it still exists, and its id.
    struct OwnBlock
    {
        bool valid = false;
        Uuid id{};
    };
    // A shared global block: how many objects requested it.
    struct BlockRefs
    {
        bool valid = false;
        unsigned int refs_ = 0;
        Uuid id{};
    };
    struct ParticleProperty
    {
        bool forCustomValue = false;
        bool operator==(const ParticleProperty& o) const
        {
            return forCustomValue == o.forCustomValue;
        }
    };

    static constexpr uint32_t kVersion = 6;

    // A new guide that builds the first blocks of the emitter and links them.
    explicit EmitterGuide(Emitter& emitter);
    // A guide read from a file; it touches no block.
    EmitterGuide(Emitter& emitter, Sl::RevisionLoader& loader);
    // The empty guide of a reflected emitter, filled by syncReflection.
    EmitterGuide(Emitter& emitter, Eg::Base::EmptyReflectionTag);
    ~EmitterGuide();
    EmitterGuide(const EmitterGuide&) = delete;
    EmitterGuide& operator=(const EmitterGuide&) = delete;

    Emitter& emitter() const { return emitter_; }
    Eg::CustomValues& customValues() const { return *customValues_; }
    Eg::Generation& generation() const { return *generation_; }
    Eg::Termination& termination() const { return *termination_; }
    Eg::PositionStart& positionStart() const { return *positionStart_; }
    Eg::PositionChange& positionChange() const { return *positionChange_; }
    Eg::Rotation& rotation() const { return *rotation_; }
    Eg::Size& size() const { return *size_; }
    Eg::Transparency& transparency() const { return *transparency_; }
    Eg::Color& color() const { return *color_; }
    Eg::TexMapping& texMapping() const { return *texMapping_; }
    // The ten sections in their fixed order.
    std::vector<Eg::Base*> sections() const;

    const Uuid& blockParticleTimeId() const { return blockParticleTime_.id; }
    bool particleTimeValid() const { return blockParticleTime_.valid; }
    const Uuid& blockPositionerId() const { return blockPositioner_.id; }
    bool positionerValid() const { return blockPositioner_.valid; }
    const Uuid& blockConstructId() const { return blockConstruct_.id; }
    bool constructValid() const { return blockConstruct_.valid; }

    // Held by value (`auto scope = guide.scopedChange();`): the end of the outermost scope
    // links, and a broken invariant found there leaves as an exception.
    ScopedChange scopedChange();
    bool isChanging() const { return changeDepth_ > 0 || fixing_; }

    void updateFromEmitter();
    void postLoad();

    // An empty guide for `emitter`, a reflection of this guide's emitter.
    std::unique_ptr<EmitterGuide> reflect(Emitter& emitter) const;
    // Takes the state of the source emitter's guide: the same sections and kinds, their form
    // values as sources (overrides made here stay), and the ids of the blocks of this emitter
    // that reflect the source's blocks. Run after the emitter has synchronised its blocks.
    void syncReflection(const EmitterGuide& source);
    void save(Sl::RevisionSaver& saver) const;
    void collectValues(std::vector<Eg::Value*>& values) const;

    // Places a guide parameter behind the last one placed in this round of fixLinks.
    void registerParticleProperty(const Uuid& id);
    const std::map<Uuid, ParticleProperty>& registeredParticleProperties() const
    {
        return registered_;
    }

    // Shared global blocks: made on the first request, removed with the last release.
    Uuid requestEmitterVelocityId();
    Uuid requestEmitterPositionId();
    Uuid requestEmitterRotationId();
    Uuid requestEmitterTimeId();
    Uuid requestSystemTimeId();
    void releaseEmitterVelocityId();
    void releaseEmitterPositionId();
    void releaseEmitterRotationId();
    void releaseEmitterTimeId();
    void releaseSystemTimeId();
    const boost::optional<BlockRefs>& emitterVelocityRefs() const { return emitterVelocity_; }
    const boost::optional<BlockRefs>& emitterPositionRefs() const { return emitterPosition_; }
    const boost::optional<BlockRefs>& emitterRotationRefs() const { return emitterRotation_; }
    const boost::optional<BlockRefs>& emitterTimeRefs() const { return emitterTime_; }
    const boost::optional<BlockRefs>& systemTimeRefs() const { return systemTime_; }

    // The normalised age of a particle (0 to 1), given by the one max-life terminator; none
    // with no such terminator or with two.
    boost::optional<BlockConnector> getNormParticleLifeConnector() const;

    // A random place inside the scheme's working area.
    void setRandomPositionForBlock(BlockFunc& block) const;

    // Events reach the sections one at a time, in the order sent, also when a handler sends
    // further ones.
    template <class E>
    void processEvent(const E& event)
    {
        if (processing_)
        {
            events_.push_back(std::make_unique<E>(event));
            return;
        }
        processQueue(std::make_unique<E>(event));
    }
    void processSingleEvent(const Eg::Event& event);

private:
    friend class ScopedChange;

    void fixLinks();
    void processQueue(std::unique_ptr<Eg::Event> first);
    Uuid requestGlobal(boost::optional<BlockRefs>& refs, std::unique_ptr<Block> (*make)());
    void releaseGlobal(boost::optional<BlockRefs>& refs);
    void updateRefs(boost::optional<BlockRefs>& refs) const;

    Emitter& emitter_;
    std::unique_ptr<Eg::CustomValues> customValues_;
    std::unique_ptr<Eg::Generation> generation_;
    std::unique_ptr<Eg::Termination> termination_;
    std::unique_ptr<Eg::PositionStart> positionStart_;
    std::unique_ptr<Eg::PositionChange> positionChange_;
    std::unique_ptr<Eg::Rotation> rotation_;
    std::unique_ptr<Eg::Size> size_;
    std::unique_ptr<Eg::Transparency> transparency_;
    std::unique_ptr<Eg::Color> color_;
    std::unique_ptr<Eg::TexMapping> texMapping_;
    OwnBlock blockParticleTime_;
    OwnBlock blockPositioner_;
    OwnBlock blockConstruct_;
    boost::optional<BlockRefs> emitterVelocity_;
    boost::optional<BlockRefs> emitterPosition_;
    boost::optional<BlockRefs> emitterRotation_;
    boost::optional<BlockRefs> emitterTime_;
    boost::optional<BlockRefs> systemTime_;
    int changeDepth_ = 0;
    bool fixing_ = false;
    std::map<Uuid, ParticleProperty> registered_;
    boost::optional<Uuid> lastRegisteredParticleProperty_;
    bool registeringCustomValues_ = false;
    std::deque<std::unique_ptr<Eg::Event>> events_;
    bool processing_ = false;
};

}  // namespace Plm
