#pragma once

#include <memory>
#include <vector>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_prop_changer.h"

namespace Plm
{

// Moves a point with a velocity under a list of forces, a list of winds (speeds of the
// medium) and a drag.
template <class T>
class BlockFuncForceMove : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncForceMove, factoryNameText())

public:
    enum EnumConnectorIds : uint32_t
    {
        CI_InPosition = 0,
        CI_InVelocity = 1,
        CI_OutPosition = 2,
        CI_OutVelocity = 3,
        CI_Drag = 4,
        // Force i and wind i have inputs of their own ranges, so that one list's changes don't
        // move the other's links.
        CI_Forces = 256,
        CI_Velocities = 512,
    };
    // The runtime stores each count in a byte; it also keeps the force range clear of winds.
    static constexpr unsigned int kMaxListSize = 255;

    static const char* factoryNameText();
    static std::unique_ptr<BlockFuncForceMove> create();

    unsigned int getNumForces() const { return numForces_.get(); }
    void setNumForces(const boost::optional<unsigned int>& value);
    const T& getForce(unsigned int index) const { return item(forces_, index).get(); }
    void setForce(unsigned int index, const boost::optional<T>& value)
    {
        setPropAndNotify(item(forces_, index), value);
    }
    bool isForceExternal(unsigned int index) const { return item(forces_, index).isExternal(); }
    void setForceExternal(unsigned int index, bool external)
    {
        item(forces_, index).setExternal(external);
    }
    std::unique_ptr<PropChanger<T>> forceChanger(unsigned int index);

    unsigned int getNumVelocities() const { return numVelocities_.get(); }
    void setNumVelocities(const boost::optional<unsigned int>& value);
    const T& getVelocity(unsigned int index) const { return item(velocities_, index).get(); }
    void setVelocity(unsigned int index, const boost::optional<T>& value)
    {
        setPropAndNotify(item(velocities_, index), value);
    }
    bool isVelocityExternal(unsigned int index) const
    {
        return item(velocities_, index).isExternal();
    }
    void setVelocityExternal(unsigned int index, bool external)
    {
        item(velocities_, index).setExternal(external);
    }
    std::unique_ptr<PropChanger<T>> velocityChanger(unsigned int index);

    PLM_PROP_ACCESSORS(Drag, float, drag_)
    PLM_EXTERNAL_ACCESSORS(Drag, drag_)
    PropBaseTyped<float>& dragProp() { return drag_; }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncForceMove();
    explicit BlockFuncForceMove(LoadFlag flag);
    BlockFuncForceMove(const BlockFuncForceMove& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    using Items = std::vector<std::unique_ptr<Prop<T>>>;

    static const Prop<T>& item(const Items& items, unsigned int index)
    {
        DEBUG_ASSERT(index < items.size());
        return *items[index];
    }
    static Prop<T>& item(Items& items, unsigned int index)
    {
        DEBUG_ASSERT(index < items.size());
        return *items[index];
    }
    // The shared body of setNumForces and setNumVelocities.
    void setCount(SharedProp<unsigned int>& count, Items& items,
                  const boost::optional<unsigned int>& value);
    // Destroys the items beyond the count, or appends zero-valued ones.
    void resizeItems(Items& items, unsigned int count);
    void copyItems(Items& items, const Items& other);
    void loadItems(Sl::RevisionLoader& loader, SharedProp<unsigned int>& count, Items& items);

    SharedProp<unsigned int> numForces_;
    // On the heap: each registers with the block as it comes and unregisters as it goes.
    Items forces_;
    SharedProp<unsigned int> numVelocities_;
    Items velocities_;
    Prop<float> drag_;
};

using BlockFuncForceMove2 = BlockFuncForceMove<glm::vec2>;
using BlockFuncForceMove3 = BlockFuncForceMove<glm::vec3>;

}  // namespace Plm
