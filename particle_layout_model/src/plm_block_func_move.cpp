#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "revision_saveload/sl_exceptions.h"

#include "plm_export_block_writers.h"

namespace Plm
{

namespace
{

bool isMoveType(EnumConnectorType type)
{
    return type == CT_Float || type == CT_Vec2 || type == CT_Vec3;
}

// Calls `f` with a null pointer of the value type of `type`, one of isMoveType's.
template <class F>
void dispatchMoveType(EnumConnectorType type, F&& f)
{
    switch (type)
    {
    case CT_Float:
        f(static_cast<float*>(nullptr));
        return;
    case CT_Vec2:
        f(static_cast<glm::vec2*>(nullptr));
        return;
    case CT_Vec3:
        f(static_cast<glm::vec3*>(nullptr));
        return;
    default:
        DEBUG_ASSERT(isMoveType(type));
    }
}

}  // namespace

BlockFuncMove::BlockFuncMove(EnumConnectorType type) : type_(*this, false, type)
{
    dispatchMoveType(type,
                     [this](auto* tag)
                     {
                         using T = std::remove_pointer_t<decltype(tag)>;
                         speed_ = std::make_unique<Prop<T>>(*this, false, ValueTraits<T>::zero());
                     });
}

// The speed is made by loadImpl, once the type is known.
BlockFuncMove::BlockFuncMove(LoadFlag flag) : BlockFunc(flag), type_(*this) {}

BlockFuncMove::BlockFuncMove(const BlockFuncMove& other)
    : BlockFunc(other), type_(*this, other.type_)
{
    dispatchMoveType(other.getType(),
                     [this, &other](auto* tag)
                     {
                         using T = std::remove_pointer_t<decltype(tag)>;
                         speed_ = std::make_unique<Prop<T>>(*this, other.speedProp<T>());
                     });
}

std::unique_ptr<BlockFuncMove> BlockFuncMove::create(EnumConnectorType type)
{
    std::unique_ptr<BlockFuncMove> block(new BlockFuncMove(type));
    block->updateConnectors();
    return block;
}

EnumConnectorType BlockFuncMove::getType() const
{
    const EnumConnectorType type = type_.get();
    DEBUG_ASSERT(isMoveType(type));
    return type;
}

void BlockFuncMove::updateConnectors()
{
    const EnumConnectorType type = getType();
    std::vector<BlockConnectorDesc> descs{outputDesc(type, 2), inputDesc(type, 0)};
    addInputIfExternal(descs, *speed_, type, 1);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncMove::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncMove(*this));
}

void BlockFuncMove::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    type_.save("type", saver);
    dispatchMoveType(getType(),
                     [this, &saver](auto* tag)
                     {
                         using T = std::remove_pointer_t<decltype(tag)>;
                         speedProp<T>().save("speed", saver);
                     });
}

void BlockFuncMove::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    type_.load(loader);
    // A type the block can't move by is damage in the file, not a broken invariant.
    if (!isMoveType(type_.get()))
        throw Sl::CorruptedDataException();
    speed_.reset();
    dispatchMoveType(type_.get(),
                     [this, &loader](auto* tag)
                     {
                         using T = std::remove_pointer_t<decltype(tag)>;
                         auto speed = std::make_unique<Prop<T>>(*this);
                         speed->load(loader);
                         speed_ = std::move(speed);
                     });
}

void BlockFuncMove::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(2, 0);
    const EnumConnectorType type = getType();
    ExportBin::OperationScope operation(compiler,
                                        ExportBin::typedFactory(Ps::OF_FuncMoveFloat, type));
    compiler.writeInput(*this, "input", 0);
    switch (type)
    {
    case CT_Float:
        compiler.writeInput(*this, "speed", speedProp<float>(), 1);
        break;
    case CT_Vec2:
        compiler.writeInput(*this, "speed", speedProp<glm::vec2>(), 1);
        break;
    default:
        compiler.writeInput(*this, "speed", speedProp<glm::vec3>(), 1);
        break;
    }
}

// The speed's value type follows "type": a new type gets a new speed, which the sources of
// that type then fill. A source of another type has no speed for this block.
void BlockFuncMove::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    const EnumConnectorType previousType = getType();
    syncer.syncProp(&BlockFuncMove::type_);
    dispatchMoveType(getType(),
                     [this, &syncer, previousType](auto* tag)
                     {
                         using T = std::remove_pointer_t<decltype(tag)>;
                         if (getType() != previousType)
                             speed_ = std::make_unique<Prop<T>>(*this);
                         syncer.syncProp<BlockFuncMove>(
                             [](auto& block)
                             {
                                 return block.getType() == ValueTraits<T>::connectorType
                                            ? &block.template speedProp<T>()
                                            : nullptr;
                             });
                     });
}

}  // namespace Plm
