#pragma once

#include <memory>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Moves a position along "speed" over time. "type" (float, vec2 or vec3) is the type of the
// position, of the speed and of the result.
class BlockFuncMove : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncMove, "func_move")

public:
    static std::unique_ptr<BlockFuncMove> create(EnumConnectorType type);

    EnumConnectorType getType() const;

    // The speed, as the value type that matches getType(); any other is a broken invariant.
    template <class T>
    const T& getSpeed() const
    {
        return speedProp<T>().get();
    }
    template <class T>
    void setSpeed(const boost::optional<T>& value)
    {
        setPropAndNotify(speedProp<T>(), value);
    }
    bool isSpeedExternal() const { return speed_->isExternal(); }
    void setSpeedExternal(bool external) { speed_->setExternal(external); }
    const PropBase& getSpeedProp() const { return *speed_; }
    // The speed property, as the value type that matches getType().
    template <class T>
    PropBaseTyped<T>& speedPropOf()
    {
        return speedProp<T>();
    }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    explicit BlockFuncMove(EnumConnectorType type);
    explicit BlockFuncMove(LoadFlag flag);
    BlockFuncMove(const BlockFuncMove& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    template <class T>
    const Prop<T>& speedProp() const
    {
        DEBUG_ASSERT(getType() == ValueTraits<T>::connectorType);
        return static_cast<const Prop<T>&>(*speed_);
    }
    template <class T>
    Prop<T>& speedProp()
    {
        DEBUG_ASSERT(getType() == ValueTraits<T>::connectorType);
        return static_cast<Prop<T>&>(*speed_);
    }

    SharedProp<EnumConnectorType> type_;
    // Of the value type that "type" names, so made at run time.
    std::unique_ptr<PropBase> speed_;
};

}  // namespace Plm
