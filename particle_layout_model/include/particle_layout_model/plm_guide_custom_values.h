#pragma once

#include <memory>
#include <string>
#include <vector>

#include "particle_layout_model/plm_guide_base.h"
#include "particle_layout_model/plm_guide_value.h"

namespace Plm
{
namespace Eg
{

// A number of the user's own, computed once per particle and kept in a particle property
// under its name, so that other values of the guide can read it (as a value, or as the time
// of a curve).
class CustomValue : public BaseDimensions
{
public:
    static constexpr ValueLevel kLevel = 2;
    static constexpr uint32_t kVersion = 0;

    // A new custom value of one dimension, of the kind Random, stored under "CustomValue".
    explicit CustomValue(EmitterGuide& guide);
    // Reads what save() wrote; touches no block.
    CustomValue(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty twin of a reflected emitter's guide: no value until syncReflection.
    CustomValue(EmitterGuide& guide, Base::EmptyReflectionTag);
    ~CustomValue() override;

    const Uuid& id() const { return id_; }
    const std::string& name() const { return name_; }
    // Renames the particle properties of its values too.
    void setName(const std::string& name);
    MultiValue& value() const { return *value_; }
    // The greatest current level of its rows.
    ValueLevel currentLevel() const;

    // Whether `value` may read this custom value without a cycle: a value of another custom
    // value only if that one stands later (by level, then by place in the list).
    bool canValueDependOnThis(const Value& value) const;
    // For the kind OverCustomValue: a valid custom value of one dimension.
    bool canValueBeOverThis(const Value& value) const;
    // For the kind CustomValue: a valid custom value of the value's dimensions.
    bool canValueUseThis(const Value& value) const;

    // Base
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // The id and name copied: the users of a custom value find it by id on either side.
    void syncReflection(const Base& source) override;

protected:
    void changeDimensionsImpl(unsigned int dimensions) override;
    // A group, version 0: valid; id; name; the value.
    void saveImpl(Sl::RevisionSaver& saver) const override;

private:
    static ValueBuilder makeBuilder(EmitterGuide& guide, const Uuid& id, const std::string& name);

    bool valid_ = false;
    Uuid id_{};
    std::string name_;
    std::unique_ptr<MultiValue> value_;
};

// The section of custom values: an ordered list. Values that depend on a custom value may
// only depend on those before them at the same level, so the order matters.
class CustomValues : public Base
{
public:
    static constexpr uint32_t kVersion = 0;

    // An empty list.
    explicit CustomValues(EmitterGuide& guide);
    CustomValues(EmitterGuide& guide, Sl::RevisionLoader& loader);
    // The empty list of a reflected emitter's guide, filled by syncReflection.
    CustomValues(EmitterGuide& guide, Base::EmptyReflectionTag);
    ~CustomValues() override;

    unsigned numValues() const { return static_cast<unsigned>(values_.size()); }
    CustomValue& value(unsigned index) const;
    // Null if there is none of that id.
    CustomValue* value(const Uuid& id) const;
    boost::optional<unsigned> valueIndex(const Uuid& id) const;
    CustomValue& addValue();
    // The users of the value leave it first (EventCustomValueRemoved).
    void removeValue(unsigned index);

    // Base
    bool isValid() const override { return valid_; }
    void updateFromEmitter() override;
    void fixLinks() override;
    void removeFromEmitter() override;
    boost::optional<BlockConnector> getOutputConnector() const override { return boost::none; }
    // A group, version 0: valid; the count; each value.
    void save(Sl::RevisionSaver& saver) const override;
    void processEvent(const Event& event) override;
    void collectValues(std::vector<Value*>& values) override;
    // The list in the source's order; each custom value keeps its twin, matched by id.
    void syncReflection(const Base& source) override;

private:
    bool valid_ = true;
    std::vector<std::unique_ptr<CustomValue>> values_;
};

}  // namespace Eg
}  // namespace Plm
