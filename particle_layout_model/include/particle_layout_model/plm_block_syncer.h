#pragma once

#include <array>
#include <type_traits>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block.h"

namespace Plm
{

// The sources of one synchronisation of a reflected block: the counterpart in the effect that
// the block's effect reflects (system), the counterpart in the emitter that the block's
// emitter reflects (emitter), and the block's own source (direct). Any of them may be absent;
// those present are blocks of the target's kind.
class BlockSyncer
{
public:
    BlockSyncer(Block& target, Block* system, Block* emitter, Block* direct)
        : target_(target), system_(system), emitter_(emitter), direct_(direct)
    {
        for (Block* source : {system, emitter, direct})
        {
            if (!source)
                continue;
            DEBUG_ASSERT(source->getFactoryName() == target.getFactoryName());
            sources_[numSources_++] = source;
        }
    }

    Block& getTarget() const { return target_; }
    Block* getSystemReflSource() const { return system_; }
    Block* getEmitterReflSource() const { return emitter_; }
    Block* getDirectReflSource() const { return direct_; }

    // The sources that exist, in the order system, emitter, direct.
    unsigned int getNumSources() const { return numSources_; }
    const Block& getSource(unsigned int index) const
    {
        DEBUG_ASSERT(index < numSources_);
        return *sources_[index];
    }
    // The source closest to the target: direct, else emitter, else system; null if none.
    const Block* getNearestSource() const
    {
        return numSources_ ? sources_[numSources_ - 1] : nullptr;
    }

    // Brings one property of the target in line with the sources. `select` picks that property
    // in any block of the kind BlockT, given as `BlockT&` or `const BlockT&`, and returns a
    // pointer to it, or null where the block lacks it (an index past the end of a list). The
    // first source that has the property gives the value; each later one only where it is
    // overridden there, so the effect's counterpart sets the baseline and a nearer source wins
    // where somebody changed it. The target's own override stays, unless the property is shared.
    template <class BlockT, class Selector>
    void syncProp(Selector select) const
    {
        static_assert(std::is_base_of<Block, BlockT>::value, "a kind of block");
        DEBUG_ASSERT(numSources_ > 0);
        auto* targetProp = select(static_cast<BlockT&>(target_));
        DEBUG_ASSERT(targetProp);
        bool first = true;
        for (unsigned int i = 0; i < numSources_; ++i)
        {
            const auto* sourceProp = select(static_cast<const BlockT&>(*sources_[i]));
            if (!sourceProp)
                continue;
            if (first || sourceProp->isOverridden())
                targetProp->sync(*sourceProp);
            first = false;
        }
        DEBUG_ASSERT(!first);
    }

    // The same for a property that is a member of the block.
    template <class BlockT, class PropT>
    void syncProp(PropT BlockT::*member) const
    {
        syncProp<BlockT>([member](auto& block) { return &(block.*member); });
    }

private:
    Block& target_;
    Block* system_;
    Block* emitter_;
    Block* direct_;
    std::array<Block*, 3> sources_{};
    unsigned int numSources_ = 0;
};

// Item `index` of a list of heap items, or null past its end: the selector of a listed
// property, since a source may hold fewer items than the count the target takes.
template <class Items>
auto reflectedListItem(const Items& items, unsigned int index) -> decltype(items[index].get())
{
    return index < items.size() ? items[index].get() : nullptr;
}

// Brings a list of heap items to `count`: destroys the last ones, or appends what `make`
// returns (items for loading, whose values the synchronisation brings).
template <class Items, class Make>
void resizeReflectedList(Items& items, unsigned int count, Make make)
{
    while (items.size() > count)
        items.pop_back();
    while (items.size() < count)
        items.push_back(make());
}

}  // namespace Plm
