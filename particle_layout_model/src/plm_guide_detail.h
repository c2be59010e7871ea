#pragma once

// Helpers shared by the sources of the emitter guide; not part of the model's interface. Each
// section reads and writes its own groups and builds its own blocks, but the small steps they
// have in common live here once, so that they can't drift apart.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_connector.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_guide_base.h"
#include "plot/plot.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Eg
{
namespace Detail
{

// Only the current version of a group is read: older guides are migrated elsewhere, and newer
// versions are already refused by the group itself (it is opened with the current version as
// its maximum), so "older" and "other" mean the same here.
inline void requireCurrentVersion(const Sl::ScopedLoaderGroup& group, uint32_t version)
{
    if (group.version() < version)
        throw Sl::CorruptedDataException();
}

// A loader group opened with `version` as its maximum that refuses any older version.
class CurrentGroup : public Sl::ScopedLoaderGroup
{
public:
    CurrentGroup(Sl::Loader& loader, uint32_t version) : Sl::ScopedLoaderGroup(loader, version)
    {
        // A throw here still closes the group: the base is destroyed on the way out.
        requireCurrentVersion(*this, version);
    }
};

// The guide's enumerations are stored as one byte; a byte past the `count` values is damage.
template <class E>
E readEnum(Sl::Loader& loader, unsigned int count)
{
    uint8_t byte = 0;
    Sl::read(loader, byte);
    if (byte >= count)
        throw Sl::CorruptedDataException();
    return static_cast<E>(byte);
}

template <class E>
void writeEnum(const char* name, Sl::Saver& saver, E value)
{
    Sl::write(name, saver, static_cast<uint8_t>(value));
}

// Reads that return the value, for members assigned in a constructor's body.
inline bool readBool(Sl::Loader& loader)
{
    bool value = false;
    Sl::read(loader, value);
    return value;
}

inline Uuid readUuid(Sl::Loader& loader)
{
    Uuid id{};
    Sl::read(loader, id);
    return id;
}

// The block that a value's property changer was made for: the guide asks only for blocks of
// the type it created, so another type is a bug rather than damage.
template <class T>
T& blockAs(Block& block)
{
    T* typed = dynamic_cast<T*>(&block);
    DEBUG_ASSERT(typed);
    return *typed;
}

// The defaults of a value builder that are alike in all three components.
inline std::array<Plot, 3> sameCurves(const Plot& curve) { return {{curve, curve, curve}}; }

inline std::array<std::pair<float, float>, 3> sameRanges(float from, float to)
{
    return {{{from, to}, {from, to}, {from, to}}};
}

// An updater that gives the parameter its new value in each frame: valid only for that
// parameter.
inline bool isUpdaterOf(const Block* block, const Uuid& paramId)
{
    const auto* updater = dynamic_cast<const BlockParamUserUpdater*>(block);
    return updater && updater->getParamId() == paramId;
}

// The guide's expressions combine two inputs "a" and "b" of one type, e.g. "a + b"; the check
// below is what the guide requires of such a block to take it for its own.
inline std::unique_ptr<BlockFuncExpression> createTwoInputExpression(EnumConnectorType type,
                                                                     const std::string& text)
{
    std::unique_ptr<BlockFuncExpression> expr = BlockFuncExpression::create();
    expr->setNumInputs(2u);
    expr->setInputName(0, std::string("a"));
    expr->setInputName(1, std::string("b"));
    expr->setInputType(0, type);
    expr->setInputType(1, type);
    expr->setExpression(text);
    return expr;
}

inline bool isTwoInputExpression(const BlockFuncExpression* expr, EnumConnectorType type,
                                 const std::string& text)
{
    return expr && expr->getNumInputs() == 2 && expr->getInputType(0) == type &&
           expr->getInputType(1) == type && expr->getExpression() == text;
}

// makeTheSameType for variants whose twin needs more than the guide (e.g. its owner): the twin
// comes from `source->reflect(args...)`, which returns a pointer to T.
template <class T, class... Args>
void makeTheSameTypeWith(std::unique_ptr<T>& ptr, const T* source, Args&&... args)
{
    if (!source)
        ptr.reset();
    else if (!ptr || typeid(*ptr) != typeid(*source))
        ptr = source->reflect(std::forward<Args>(args)...);
}

}  // namespace Detail
}  // namespace Eg
}  // namespace Plm
