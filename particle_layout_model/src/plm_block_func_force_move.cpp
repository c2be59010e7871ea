#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "revision_saveload/sl_exceptions.h"

#include "plm_export_block_writers.h"

namespace Plm
{

namespace
{

// Both kinds share one group name: the layouts are alike but for T.
const char kGroupName[] = "force_move";

}  // namespace

template <>
const char* BlockFuncForceMove<glm::vec2>::factoryNameText()
{
    return "func_force_move2";
}
template <>
const char* BlockFuncForceMove<glm::vec3>::factoryNameText()
{
    return "func_force_move3";
}

// The lists are filled in the initialisers, so that the block's properties register in the
// saved order.
template <class T>
BlockFuncForceMove<T>::BlockFuncForceMove()
    : numForces_(*this, false, 1u),
      forces_(
          [this]
          {
              Items items;
              resizeItems(items, 1u);
              return items;
          }()),
      numVelocities_(*this, false, 0u),
      drag_(*this, false, 0.0f)
{
}

// The lists are made by loadImpl, once their counts are known.
template <class T>
BlockFuncForceMove<T>::BlockFuncForceMove(LoadFlag flag)
    : BlockFunc(flag), numForces_(*this), numVelocities_(*this), drag_(*this)
{
}

template <class T>
BlockFuncForceMove<T>::BlockFuncForceMove(const BlockFuncForceMove& other)
    : BlockFunc(other),
      numForces_(*this, other.numForces_),
      forces_(
          [this, &other]
          {
              Items items;
              copyItems(items, other.forces_);
              return items;
          }()),
      numVelocities_(*this, other.numVelocities_),
      velocities_(
          [this, &other]
          {
              Items items;
              copyItems(items, other.velocities_);
              return items;
          }()),
      drag_(*this, other.drag_)
{
}

template <class T>
std::unique_ptr<BlockFuncForceMove<T>> BlockFuncForceMove<T>::create()
{
    std::unique_ptr<BlockFuncForceMove> block(new BlockFuncForceMove());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockFuncForceMove<T>::resizeItems(Items& items, unsigned int count)
{
    if (items.size() > count)
        items.resize(count);
    while (items.size() < count)
        items.push_back(std::make_unique<Prop<T>>(*this, false, ValueTraits<T>::zero()));
}

template <class T>
void BlockFuncForceMove<T>::copyItems(Items& items, const Items& other)
{
    for (const auto& value : other)
        items.push_back(std::make_unique<Prop<T>>(*this, *value));
}

template <class T>
void BlockFuncForceMove<T>::setCount(SharedProp<unsigned int>& count, Items& items,
                                     const boost::optional<unsigned int>& value)
{
    DEBUG_ASSERT(!value || *value <= kMaxListSize);
    if (!wouldPropChange(count, value))
        return;
    count.set(value);
    resizeItems(items, count.get());
    updateConnectors();
    notifyPropChanged(true);
}

template <class T>
void BlockFuncForceMove<T>::setNumForces(const boost::optional<unsigned int>& value)
{
    setCount(numForces_, forces_, value);
}

template <class T>
void BlockFuncForceMove<T>::setNumVelocities(const boost::optional<unsigned int>& value)
{
    setCount(numVelocities_, velocities_, value);
}

template <class T>
std::unique_ptr<PropChanger<T>> BlockFuncForceMove<T>::forceChanger(unsigned int index)
{
    return makePropChanger(item(forces_, index), [this, index](const boost::optional<T>& value)
                           { setForce(index, value); });
}

template <class T>
std::unique_ptr<PropChanger<T>> BlockFuncForceMove<T>::velocityChanger(unsigned int index)
{
    return makePropChanger(item(velocities_, index), [this, index](const boost::optional<T>& value)
                           { setVelocity(index, value); });
}

template <class T>
void BlockFuncForceMove<T>::updateConnectors()
{
    constexpr EnumConnectorType type = ValueTraits<T>::connectorType;
    std::vector<BlockConnectorDesc> descs{
        outputDesc(type, CI_OutPosition), outputDesc(type, CI_OutVelocity),
        inputDesc(type, CI_InPosition), inputDesc(type, CI_InVelocity)};
    addInputIfExternal(descs, drag_, CT_Float, CI_Drag);
    for (unsigned int i = 0; i < forces_.size(); ++i)
        addInputIfExternal(descs, *forces_[i], type, CI_Forces + i);
    for (unsigned int i = 0; i < velocities_.size(); ++i)
        addInputIfExternal(descs, *velocities_[i], type, CI_Velocities + i);
    resetConnectors(descs);
}

template <class T>
std::unique_ptr<Block> BlockFuncForceMove<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncForceMove(*this));
}

template <class T>
void BlockFuncForceMove<T>::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(kGroupName, saver, 0);
    numForces_.save("num_forces", saver);
    for (const auto& force : forces_)
        force->save("force", saver);
    numVelocities_.save("num_vels", saver);
    for (const auto& velocity : velocities_)
        velocity->save("vel", saver);
    drag_.save("drag", saver);
}

template <class T>
void BlockFuncForceMove<T>::loadItems(Sl::RevisionLoader& loader, SharedProp<unsigned int>& count,
                                      Items& items)
{
    count.load(loader);
    // A count that the setters refuse, now or after a revert, is damage in the file.
    if (count.get() > kMaxListSize || count.getDefault() > kMaxListSize)
        throw Sl::CorruptedDataException();
    items.clear();
    while (items.size() < count.get())
    {
        auto value = std::make_unique<Prop<T>>(*this);
        value->load(loader);
        items.push_back(std::move(value));
    }
}

template <class T>
void BlockFuncForceMove<T>::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    loadItems(loader, numForces_, forces_);
    loadItems(loader, numVelocities_, velocities_);
    drag_.load(loader);
}

// Outputs: 0 the position, 1 the velocity. The runtime counts each list in a byte.
template <class T>
void BlockFuncForceMove<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(CI_OutPosition, 0);
    compiler.registerOpOutput(CI_OutVelocity, 1);
    ExportBin::OperationScope operation(
        compiler, ExportBin::typedFactory<T, glm::vec2>(Ps::OF_FuncForceMoveVec2));
    Sl::Saver& saver = operation.saver();
    compiler.writeInput(*this, "in_position", CI_InPosition);
    compiler.writeInput(*this, "in_velocity", CI_InVelocity);
    DEBUG_ASSERT(forces_.size() <= kMaxListSize);
    saver.write("num_forces", static_cast<uint8_t>(forces_.size()));
    for (unsigned int i = 0; i < forces_.size(); ++i)
        compiler.writeInput(*this, "force", *forces_[i], CI_Forces + i);
    DEBUG_ASSERT(velocities_.size() <= kMaxListSize);
    saver.write("num_velocities", static_cast<uint8_t>(velocities_.size()));
    for (unsigned int i = 0; i < velocities_.size(); ++i)
        compiler.writeInput(*this, "velocity", *velocities_[i], CI_Velocities + i);
    compiler.writeInput(*this, "drag", drag_, CI_Drag);
}

template <class T>
void BlockFuncForceMove<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    const auto syncList = [this, &syncer](SharedProp<unsigned int> BlockFuncForceMove::*count,
                                          Items BlockFuncForceMove::*items)
    {
        syncer.syncProp(count);
        resizeReflectedList(this->*items, (this->*count).get(),
                            [this] { return std::make_unique<Prop<T>>(*this); });
        for (unsigned int i = 0; i < (this->*items).size(); ++i)
            syncer.syncProp<BlockFuncForceMove>([items, i](auto& block)
                                                { return reflectedListItem(block.*items, i); });
    };
    syncList(&BlockFuncForceMove::numForces_, &BlockFuncForceMove::forces_);
    syncList(&BlockFuncForceMove::numVelocities_, &BlockFuncForceMove::velocities_);
    syncer.syncProp(&BlockFuncForceMove::drag_);
}

template class BlockFuncForceMove<glm::vec2>;
template class BlockFuncForceMove<glm::vec3>;

}  // namespace Plm
