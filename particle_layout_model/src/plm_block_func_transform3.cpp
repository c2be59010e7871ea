#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_syncer.h"

#include <algorithm>

#include "revision_saveload/sl_exceptions.h"

#include "plm_export_block_writers.h"

namespace Plm
{

namespace
{

glm::quat identityRotation() { return ValueTraits<glm::quat>::zero(); }

}  // namespace

BlockFuncTransform3::Operation::Operation(PropsOwner& owner, EnumOperType type)
    : type_(owner, false, type),
      shift_(owner, false, glm::vec3(0.0f)),
      rotation_(owner, false, identityRotation())
{
}

BlockFuncTransform3::Operation::Operation(PropsOwner& owner)
    : type_(owner), shift_(owner), rotation_(owner)
{
}

BlockFuncTransform3::Operation::Operation(PropsOwner& owner, const Operation& other)
    : type_(owner, other.type_), shift_(owner, other.shift_), rotation_(owner, other.rotation_)
{
}

BlockFuncTransform3::BlockFuncTransform3()
    : startPosition_(*this, false, glm::vec3(0.0f)),
      startRotation_(*this, false, identityRotation()),
      numOperations_(*this, false, 1u)
{
    operations_.push_back(std::make_unique<Operation>(*this, OT_Rotation));
}

// The operations are made by loadImpl, once their number is known.
BlockFuncTransform3::BlockFuncTransform3(LoadFlag flag)
    : BlockFunc(flag), startPosition_(*this), startRotation_(*this), numOperations_(*this)
{
}

BlockFuncTransform3::BlockFuncTransform3(const BlockFuncTransform3& other)
    : BlockFunc(other),
      startPosition_(*this, other.startPosition_),
      startRotation_(*this, other.startRotation_),
      numOperations_(*this, other.numOperations_)
{
    for (const auto& operation : other.operations_)
        operations_.push_back(std::make_unique<Operation>(*this, *operation));
}

std::unique_ptr<BlockFuncTransform3> BlockFuncTransform3::create()
{
    std::unique_ptr<BlockFuncTransform3> block(new BlockFuncTransform3());
    block->updateConnectors();
    return block;
}

void BlockFuncTransform3::setNumOperations(const boost::optional<unsigned int>& value)
{
    DEBUG_ASSERT(!value || *value != 0u);
    if (!wouldPropChange(numOperations_, value))
        return;
    numOperations_.set(value);
    resizeOperations();
    updateConnectors();
    notifyPropChanged(true);
}

void BlockFuncTransform3::resizeOperations()
{
    const unsigned int count = numOperations_.get();
    if (operations_.size() > count)
        operations_.resize(count);
    while (operations_.size() < count)
    {
        // The default chain starts with a rotation.
        const bool afterRotation =
            operations_.empty() || operations_.back()->type_.get() == OT_Rotation;
        operations_.push_back(
            std::make_unique<Operation>(*this, afterRotation ? OT_Shift : OT_Rotation));
    }
}

void BlockFuncTransform3::setOperationType(unsigned int index,
                                           const boost::optional<EnumOperType>& value)
{
    SharedProp<EnumOperType>& type = oper(index).type_;
    if (!wouldPropChange(type, value))
        return;
    type.set(value);
    updateConnectors();
    notifyPropChanged(true);
}

std::unique_ptr<PropChanger<BlockFuncTransform3::EnumOperType>>
BlockFuncTransform3::operTypeChanger(unsigned int index)
{
    return makePropChanger(oper(index).type_,
                           [this, index](const boost::optional<EnumOperType>& value)
                           { setOperationType(index, value); });
}

std::unique_ptr<PropChanger<glm::vec3>> BlockFuncTransform3::shiftChanger(unsigned int index)
{
    return makePropChanger(oper(index).shift_, [this, index](const boost::optional<glm::vec3>& v)
                           { setShift(index, v); });
}

std::unique_ptr<PropChanger<glm::quat>> BlockFuncTransform3::rotationChanger(unsigned int index)
{
    return makePropChanger(oper(index).rotation_, [this, index](const boost::optional<glm::quat>& v)
                           { setRotation(index, v); });
}

bool BlockFuncTransform3::isLastOperationOfType(unsigned int index, EnumOperType type) const
{
    DEBUG_ASSERT(index < operations_.size());
    return std::none_of(operations_.begin() + index + 1, operations_.end(),
                        [type](const auto& operation) { return operation->type_.get() == type; });
}

bool BlockFuncTransform3::hasOperationsOfType(EnumOperType type) const
{
    return std::any_of(operations_.begin(), operations_.end(),
                       [type](const auto& operation) { return operation->type_.get() == type; });
}

bool BlockFuncTransform3::isLastShiftOperation(unsigned int index) const
{
    return isLastOperationOfType(index, OT_Shift);
}

bool BlockFuncTransform3::isLastRotationOperation(unsigned int index) const
{
    return isLastOperationOfType(index, OT_Rotation);
}

bool BlockFuncTransform3::hasShiftOperations() const { return hasOperationsOfType(OT_Shift); }

bool BlockFuncTransform3::hasRotationOperations() const { return hasOperationsOfType(OT_Rotation); }

void BlockFuncTransform3::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(CT_Vec3, CI_ResultPosition),
                                          outputDesc(CT_Quat, CI_ResultRotation)};
    addInputIfExternal(descs, startPosition_, CT_Vec3, CI_StartPosition);
    addInputIfExternal(descs, startRotation_, CT_Quat, CI_StartRotation);
    for (unsigned int i = 0; i < operations_.size(); ++i)
    {
        const Operation& operation = *operations_[i];
        const uint32_t index = CI_OperationInputsBegin + i;
        // Only the value that the type selects can be fed.
        if (operation.type_.get() == OT_Shift)
            addInputIfExternal(descs, operation.shift_, CT_Vec3, index);
        else
            addInputIfExternal(descs, operation.rotation_, CT_Quat, index);
    }
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncTransform3::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncTransform3(*this));
}

void BlockFuncTransform3::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    startPosition_.save("start_pos", saver);
    startRotation_.save("start_rot", saver);
    numOperations_.save("num_opers", saver);
    for (const auto& operation : operations_)
    {
        Sl::ScopedSaverGroup operGroup("oper", saver, 0);
        operation->type_.save("type", saver);
        operation->shift_.save("shift", saver);
        operation->rotation_.save("rotation", saver);
    }
}

void BlockFuncTransform3::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    startPosition_.load(loader);
    startRotation_.load(loader);
    numOperations_.load(loader);
    // The model never writes an empty chain, nor one that a revert would empty. Each operation
    // is read before the next is made, so a huge count in a damaged file runs out of data
    // rather than memory.
    const unsigned int count = numOperations_.get();
    if (count == 0u || numOperations_.getDefault() == 0u)
        throw Sl::CorruptedDataException();
    operations_.clear();
    while (operations_.size() < count)
    {
        auto operation = std::make_unique<Operation>(*this);
        {
            Sl::ScopedLoaderGroup operGroup(loader, 0);
            operation->type_.load(loader);
            operation->shift_.load(loader);
            operation->rotation_.load(loader);
        }
        operations_.push_back(std::move(operation));
    }
}

// The frame runs through the operations: a shift moves the position along the current
// rotation (FuncTransfer3), a rotation turns the current rotation (FuncRotate3). Each reads the
// latest operation of the other kind before it, or the start. The last shift delivers the
// result position, the last rotation the result rotation; with no operation of a kind,
// operation 0 or 1 passes the start value on (FuncStore).
void BlockFuncTransform3::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    if (operId == 0)
    {
        compiler.registerOpOutput(CI_ResultPosition, 0);
        ExportBin::OperationScope operation(compiler, Ps::OF_FuncStoreVec3);
        compiler.writeInput(*this, "value", startPosition_, CI_StartPosition);
        return;
    }
    if (operId == 1)
    {
        compiler.registerOpOutput(CI_ResultRotation, 0);
        ExportBin::OperationScope operation(compiler, Ps::OF_FuncStoreQuat);
        compiler.writeInput(*this, "value", startRotation_, CI_StartRotation);
        return;
    }
    DEBUG_ASSERT(operId >= CI_OperationInputsBegin);
    const unsigned int index = operId - CI_OperationInputsBegin;
    DEBUG_ASSERT(index < operations_.size());

    boost::optional<unsigned int> shiftBefore, rotationBefore;
    for (unsigned int i = 0; i < index; ++i)
        (oper(i).type_.get() == OT_Shift ? shiftBefore : rotationBefore) = i;
    auto writeRotationBefore = [&](const char* name)
    {
        if (rotationBefore)
            ExportBin::writeOwnOperationExtInput(compiler, name, *this,
                                                 CI_OperationInputsBegin + *rotationBefore, 0);
        else
            compiler.writeInput(*this, name, startRotation_, CI_StartRotation);
    };

    const Operation& operation = oper(index);
    if (operation.type_.get() == OT_Shift)
    {
        if (isLastShiftOperation(index))
            compiler.registerOpOutput(CI_ResultPosition, 0);
        ExportBin::OperationScope scope(compiler, Ps::OF_FuncTransfer3);
        if (shiftBefore)
            ExportBin::writeOwnOperationExtInput(compiler, "position", *this,
                                                 CI_OperationInputsBegin + *shiftBefore, 0);
        else
            compiler.writeInput(*this, "position", startPosition_, CI_StartPosition);
        writeRotationBefore("rotation");
        compiler.writeInput(*this, "shift", operation.shift_, operId);
    }
    else
    {
        if (isLastRotationOperation(index))
            compiler.registerOpOutput(CI_ResultRotation, 0);
        ExportBin::OperationScope scope(compiler, Ps::OF_FuncRotate3);
        writeRotationBefore("input");
        compiler.writeInput(*this, "rotation", operation.rotation_, operId);
    }
}

void BlockFuncTransform3::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncTransform3::startPosition_);
    syncer.syncProp(&BlockFuncTransform3::startRotation_);
    syncer.syncProp(&BlockFuncTransform3::numOperations_);
    resizeReflectedList(operations_, numOperations_.get(),
                        [this] { return std::make_unique<Operation>(*this); });
    for (unsigned int i = 0; i < operations_.size(); ++i)
    {
        const auto field = [&syncer, i](auto Operation::*member)
        {
            syncer.syncProp<BlockFuncTransform3>(
                [member, i](auto& block)
                {
                    Operation* operation = reflectedListItem(block.operations_, i);
                    return operation ? &(operation->*member) : nullptr;
                });
        };
        field(&Operation::type_);
        field(&Operation::shift_);
        field(&Operation::rotation_);
    }
}

}  // namespace Plm
