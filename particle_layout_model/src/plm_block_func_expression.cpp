#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_syncer.h"

#include <algorithm>
#include <iterator>

#include "expression/expr_executor.h"

#include "plm_export_block_writers.h"

namespace Plm
{

namespace
{

namespace Const
{
// Both enumerations number the same four types alike; a row per type.
const std::pair<EnumConnectorType, Expr::EnumValueType> plmToExprValueType[] = {
    {CT_Float, Expr::VT_Float},
    {CT_Vec2, Expr::VT_Vec2},
    {CT_Vec3, Expr::VT_Vec3},
    {CT_Quat, Expr::VT_Quat},
};
constexpr size_t plmToExprValueTypeLength = std::size(plmToExprValueType);
}  // namespace Const

// The name a new input gets: "a", "b", "c"... by its place.
std::string defaultInputName(unsigned int index)
{
    return std::string(1, static_cast<char>('a' + index));
}

}  // namespace

Expr::EnumValueType convertPlmToExprValueType(EnumConnectorType type)
{
    const auto* foundType = std::find_if(
        Const::plmToExprValueType, Const::plmToExprValueType + Const::plmToExprValueTypeLength,
        [type](const auto& entry) { return entry.first == type; });
    DEBUG_ASSERT(foundType < Const::plmToExprValueType + Const::plmToExprValueTypeLength);
    return foundType->second;
}

EnumConnectorType convertExprToPlmValueType(Expr::EnumValueType type)
{
    const auto* foundType = std::find_if(
        Const::plmToExprValueType, Const::plmToExprValueType + Const::plmToExprValueTypeLength,
        [type](const auto& entry) { return entry.second == type; });
    DEBUG_ASSERT(foundType < Const::plmToExprValueType + Const::plmToExprValueTypeLength);
    return foundType->first;
}

OwnedExprParser::OwnedExprParser(const std::string& text, ExpressionInputs inputs)
    : inputs_(std::move(inputs))
{
    std::vector<Expr::InputDesc> descs;
    descs.reserve(inputs_.size());
    for (const auto& [name, type] : inputs_)
        descs.push_back({name.c_str(), type});
    parser_ = std::make_unique<Expr::Parser>(text.c_str(), descs.data(),
                                             static_cast<unsigned>(descs.size()));
}

BlockFuncExpression::Input::Input(PropsOwner& owner, const std::string& name,
                                  EnumConnectorType type)
    : name_(owner, false, name), type_(owner, false, type)
{
}

BlockFuncExpression::Input::Input(PropsOwner& owner) : name_(owner), type_(owner) {}

BlockFuncExpression::Input::Input(PropsOwner& owner, const Input& other)
    : name_(owner, other.name_), type_(owner, other.type_)
{
}

void BlockFuncExpression::Input::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("input", saver, 0);
    name_.save("name", saver);
    type_.save("type", saver);
}

void BlockFuncExpression::Input::load(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    name_.load(loader);
    type_.load(loader);
}

BlockFuncExpression::BlockFuncExpression()
    : expression_(*this, false, std::string("a + b")),
      numInputs_(*this, false, 2u),
      outputType_(*this, false, CT_Float),
      outputValid_(*this, false, false)
{
    resizeInputs(numInputs_.get());
    deriveOutput();
}

BlockFuncExpression::BlockFuncExpression(LoadFlag flag)
    : BlockFunc(flag),
      expression_(*this),
      numInputs_(*this),
      outputType_(*this),
      outputValid_(*this)
{
}

BlockFuncExpression::BlockFuncExpression(const BlockFuncExpression& other)
    : BlockFunc(other),
      expression_(*this, other.expression_),
      numInputs_(*this, other.numInputs_),
      outputType_(*this, other.outputType_),
      outputValid_(*this, other.outputValid_)
{
    for (const auto& item : other.inputs_)
        inputs_.push_back(std::make_unique<Input>(*this, *item));
}

std::unique_ptr<BlockFuncExpression> BlockFuncExpression::create()
{
    std::unique_ptr<BlockFuncExpression> block(new BlockFuncExpression());
    block->updateConnectors();
    return block;
}

void BlockFuncExpression::setExpression(const boost::optional<std::string>& value)
{
    if (!wouldPropChange(expression_, value))
        return;
    setPropAndNotify(expression_, value);
    if (derivesOwnOutput())
        updateOutputType();
    updateConnectors();
}

void BlockFuncExpression::setNumInputs(const boost::optional<unsigned int>& value)
{
    if (!wouldPropChange(numInputs_, value))
        return;
    numInputs_.set(value);
    resizeInputs(numInputs_.get());
    notifyPropChanged(true);
    if (derivesOwnOutput())
        updateOutputType();
    // Links on inputs that are gone go with their connectors.
    updateConnectors();
}

void BlockFuncExpression::setInputName(unsigned int index,
                                       const boost::optional<std::string>& value)
{
    Prop<std::string>& name = input(index).name_;
    if (!wouldPropChange(name, value))
        return;
    setPropAndNotify(name, value);
    if (derivesOwnOutput())
        updateOutputType();
}

void BlockFuncExpression::setInputType(unsigned int index,
                                       const boost::optional<EnumConnectorType>& value)
{
    SharedProp<EnumConnectorType>& type = input(index).type_;
    if (!wouldPropChange(type, value))
        return;
    DEBUG_ASSERT(!getReflSourceRef() && !isLockedByParentReflection());
    type.set(value);
    // Rebuilds the connectors too: the input's connector changes its type.
    updateOutputType();
    notifyPropChanged(true);
}

std::unique_ptr<PropChanger<std::string>> BlockFuncExpression::inputNameChanger(unsigned int index)
{
    return makePropChanger(input(index).name_,
                           [this, index](const boost::optional<std::string>& value)
                           { setInputName(index, value); });
}

std::unique_ptr<PropChanger<EnumConnectorType>>
BlockFuncExpression::inputTypeChanger(unsigned int index)
{
    return makePropChanger(input(index).type_,
                           [this, index](const boost::optional<EnumConnectorType>& value)
                           { setInputType(index, value); });
}

ExpressionInputs BlockFuncExpression::getExpressionInputs() const
{
    ExpressionInputs inputs;
    inputs.reserve(inputs_.size() + 1);
    for (const auto& item : inputs_)
        inputs.emplace_back(item->name_.get(), convertPlmToExprValueType(item->type_.get()));
    inputs.emplace_back("dt", Expr::VT_Float);
    return inputs;
}

OwnedExprParser BlockFuncExpression::getParser() const
{
    return OwnedExprParser(getExpression(), getExpressionInputs());
}

boost::optional<EnumConnectorType> BlockFuncExpression::getExpressionOutputType() const
{
    const OwnedExprParser parser = getParser();
    if (!parser->isOk())
        return boost::none;
    const std::optional<Expr::EnumValueType> type = parser->getResultType();
    if (!type)
        return boost::none;
    return convertExprToPlmValueType(*type);
}

bool BlockFuncExpression::isValid() const
{
    if (!outputValid_.get())
        return false;
    const boost::optional<EnumConnectorType> type = getExpressionOutputType();
    return type && *type == getOutputType();
}

void BlockFuncExpression::deriveOutput()
{
    if (const boost::optional<EnumConnectorType> type = getExpressionOutputType())
    {
        outputType_.reset(*type);
        outputValid_.reset(true);
    }
    else
    {
        outputValid_.reset(false);
    }
}

void BlockFuncExpression::updateOutputType()
{
    deriveOutput();
    updateConnectors();
    notifyPropChanged(true);
}

void BlockFuncExpression::resizeInputs(unsigned int count)
{
    while (inputs_.size() > count)
        inputs_.pop_back();
    while (inputs_.size() < count)
    {
        const auto index = static_cast<unsigned int>(inputs_.size());
        inputs_.push_back(std::make_unique<Input>(*this, defaultInputName(index), CT_Float));
    }
}

void BlockFuncExpression::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(getOutputType(), kOutputConnector)};
    for (unsigned int i = 0; i < inputs_.size(); ++i)
        descs.push_back(inputDesc(inputs_[i]->type_.get(), kFirstInputConnector + i));
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncExpression::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncExpression(*this));
}

void BlockFuncExpression::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    expression_.save("expression", saver);
    numInputs_.save("num_inputs", saver);
    for (const auto& item : inputs_)
        item->save(saver);
    outputType_.save("output_type", saver);
    outputValid_.save("output_valid", saver);
}

void BlockFuncExpression::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    expression_.load(loader);
    numInputs_.load(loader);
    inputs_.clear();
    // One item at a time, as the stream holds them: a damaged count runs into the stream's
    // end instead of allocating up front.
    for (unsigned int i = 0; i < numInputs_.get(); ++i)
    {
        inputs_.push_back(std::make_unique<Input>(*this));
        inputs_.back()->load(loader);
    }
    outputType_.load(loader);
    outputValid_.load(loader);
}

// The byte code of the expression over its declared inputs and "dt", which the runtime feeds
// as the executor's last input itself.
void BlockFuncExpression::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(kOutputConnector, 0);
    const OwnedExprParser parser = getParser();
    // The chains hold only expressions that parse to their output type.
    DEBUG_ASSERT(parser->isOk());
    const unsigned char* code = parser->getOutputBuffer();
    const uint32_t codeSize = parser->getOutputBufferSize();
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncExpression);
    Sl::Saver& saver = operation.saver();
    saver.write("expr_data_size", codeSize);
    saver.writeBinary("expr_data", code, codeSize);
    saver.write("expr_pool_size",
                static_cast<uint32_t>(Expr::Executor::computePoolSizeNoObj(code, codeSize)));
    saver.write("num_inputs", static_cast<uint32_t>(inputs_.size()));
    for (unsigned int i = 0; i < inputs_.size(); ++i)
        compiler.writeInput(*this, "input", kFirstInputConnector + i);
}

// The output type and its verdict come from the source too: a reflection doesn't parse for
// itself (see derivesOwnOutput).
void BlockFuncExpression::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncExpression::expression_);
    syncer.syncProp(&BlockFuncExpression::numInputs_);
    resizeReflectedList(inputs_, numInputs_.get(),
                        [this] { return std::make_unique<Input>(*this); });
    for (unsigned int i = 0; i < inputs_.size(); ++i)
    {
        const auto field = [&syncer, i](auto Input::*member)
        {
            syncer.syncProp<BlockFuncExpression>(
                [member, i](auto& block)
                {
                    Input* input = reflectedListItem(block.inputs_, i);
                    return input ? &(input->*member) : nullptr;
                });
        };
        field(&Input::name_);
        field(&Input::type_);
    }
    syncer.syncProp(&BlockFuncExpression::outputType_);
    syncer.syncProp(&BlockFuncExpression::outputValid_);
}

}  // namespace Plm
