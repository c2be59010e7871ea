#pragma once

#include <memory>
#include <vector>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_prop_changer.h"

namespace Plm
{

// Carries a 3D frame (a position and a rotation) through a chain of operations, each a shift
// or a rotation.
class BlockFuncTransform3 : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncTransform3, "func_transform3")

public:
    enum EnumOperType : uint8_t
    {
        OT_Shift = 0,
        OT_Rotation = 1,
    };

    enum EnumConnectorIds : uint32_t
    {
        CI_StartPosition = 0,
        CI_StartRotation = 1,
        CI_ResultPosition = 2,
        CI_ResultRotation = 3,
        // Operation i feeds its value through 10 + i, whatever the other operations are.
        CI_OperationInputsBegin = 10,
    };

    // One step of the chain. Both values always exist; the type says which one counts, so a
    // type switched back and forth keeps what the user typed.
    class Operation
    {
    public:
        Operation(PropsOwner& owner, EnumOperType type);
        explicit Operation(PropsOwner& owner);
        Operation(PropsOwner& owner, const Operation& other);

        SharedProp<EnumOperType> type_;
        Prop<glm::vec3> shift_;
        Prop<glm::quat> rotation_;
    };

    static std::unique_ptr<BlockFuncTransform3> create();

    PLM_PROP_ACCESSORS(StartPosition, glm::vec3, startPosition_)
    PLM_EXTERNAL_ACCESSORS(StartPosition, startPosition_)
    PLM_PROP_ACCESSORS(StartRotation, glm::quat, startRotation_)
    PLM_EXTERNAL_ACCESSORS(StartRotation, startRotation_)

    unsigned int getNumOperations() const { return numOperations_.get(); }
    // Zero is refused: a chain has at least one operation.
    void setNumOperations(const boost::optional<unsigned int>& value);

    EnumOperType getOperationType(unsigned int index) const { return oper(index).type_.get(); }
    void setOperationType(unsigned int index, const boost::optional<EnumOperType>& value);

    const glm::vec3& getShift(unsigned int index) const { return oper(index).shift_.get(); }
    void setShift(unsigned int index, const boost::optional<glm::vec3>& value)
    {
        setPropAndNotify(oper(index).shift_, value);
    }
    bool isShiftExternal(unsigned int index) const { return oper(index).shift_.isExternal(); }
    void setShiftExternal(unsigned int index, bool external)
    {
        oper(index).shift_.setExternal(external);
    }

    const glm::quat& getRotation(unsigned int index) const { return oper(index).rotation_.get(); }
    void setRotation(unsigned int index, const boost::optional<glm::quat>& value)
    {
        setPropAndNotify(oper(index).rotation_, value);
    }
    bool isRotationExternal(unsigned int index) const { return oper(index).rotation_.isExternal(); }
    void setRotationExternal(unsigned int index, bool external)
    {
        oper(index).rotation_.setExternal(external);
    }

    std::unique_ptr<PropChanger<EnumOperType>> operTypeChanger(unsigned int index);
    std::unique_ptr<PropChanger<glm::vec3>> shiftChanger(unsigned int index);
    std::unique_ptr<PropChanger<glm::quat>> rotationChanger(unsigned int index);

    // No later operation is of that type.
    bool isLastShiftOperation(unsigned int index) const;
    bool isLastRotationOperation(unsigned int index) const;
    bool hasShiftOperations() const;
    bool hasRotationOperations() const;

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncTransform3();
    explicit BlockFuncTransform3(LoadFlag flag);
    BlockFuncTransform3(const BlockFuncTransform3& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    const Operation& oper(unsigned int index) const
    {
        DEBUG_ASSERT(index < operations_.size());
        return *operations_[index];
    }
    Operation& oper(unsigned int index)
    {
        DEBUG_ASSERT(index < operations_.size());
        return *operations_[index];
    }
    bool isLastOperationOfType(unsigned int index, EnumOperType type) const;
    bool hasOperationsOfType(EnumOperType type) const;
    // Grows or shrinks the list to "num_opers"; new operations alternate with the one before.
    void resizeOperations();

    Prop<glm::vec3> startPosition_;
    Prop<glm::quat> startRotation_;
    SharedProp<unsigned int> numOperations_;
    // On the heap: their properties register with the block as they come and go.
    std::vector<std::unique_ptr<Operation>> operations_;
};

template <>
struct PropEnumRange<BlockFuncTransform3::EnumOperType>
{
    static constexpr uint8_t first = BlockFuncTransform3::OT_Shift,
                             last = BlockFuncTransform3::OT_Rotation;
};

}  // namespace Plm
