#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "expression/expr_parser.h"
#include "expression/expr_value_type.h"
#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_prop_changer.h"

namespace Plm
{

// The connector types and the value types of the expression language map one to one.
Expr::EnumValueType convertPlmToExprValueType(EnumConnectorType type);
EnumConnectorType convertExprToPlmValueType(Expr::EnumValueType type);

// The (name, type) inputs of an expression, in order.
using ExpressionInputs = std::vector<std::pair<std::string, Expr::EnumValueType>>;

// A parser together with the input names it was given: the parser wants them to outlive it.
class OwnedExprParser
{
public:
    OwnedExprParser(const std::string& text, ExpressionInputs inputs);

    const Expr::Parser& get() const { return *parser_; }
    const Expr::Parser* operator->() const { return parser_.get(); }

private:
    ExpressionInputs inputs_;
    std::unique_ptr<Expr::Parser> parser_;
};

// A formula of the expression language over named, typed inputs. The output's type is what
// the parser infers; an expression that stops parsing keeps the last type (and its links)
// and answers false to isValid().
class BlockFuncExpression : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncExpression, "func_expression")

public:
    static constexpr uint32_t kOutputConnector = 0;
    // Input i has the connector kFirstInputConnector + i.
    static constexpr uint32_t kFirstInputConnector = 1;

    // One declared input; its properties are registered with the block.
    class Input
    {
    public:
        Input(PropsOwner& owner, const std::string& name, EnumConnectorType type);
        explicit Input(PropsOwner& owner);
        Input(PropsOwner& owner, const Input& other);

        void save(Sl::RevisionSaver& saver) const;
        void load(Sl::RevisionLoader& loader);

        Prop<std::string> name_;
        SharedProp<EnumConnectorType> type_;
    };

    static std::unique_ptr<BlockFuncExpression> create();

    const std::string& getExpression() const { return expression_.get(); }
    unsigned int getNumInputs() const { return numInputs_.get(); }
    const std::string& getInputName(unsigned int index) const { return input(index).name_.get(); }
    EnumConnectorType getInputType(unsigned int index) const { return input(index).type_.get(); }
    EnumConnectorType getOutputType() const { return outputType_.get(); }
    const PropBaseTyped<std::string>& expressionProp() const { return expression_; }

    void setExpression(const boost::optional<std::string>& value);
    void setNumInputs(const boost::optional<unsigned int>& value);
    void setInputName(unsigned int index, const boost::optional<std::string>& value);
    // The type is shared: a reflected block takes it from its source and can't change it.
    void setInputType(unsigned int index, const boost::optional<EnumConnectorType>& value);

    std::unique_ptr<PropChanger<std::string>> inputNameChanger(unsigned int index);
    std::unique_ptr<PropChanger<EnumConnectorType>> inputTypeChanger(unsigned int index);

    // The declared inputs in order, then "dt", the time step, which every expression may use.
    ExpressionInputs getExpressionInputs() const;
    // A new parse of the current text; nothing is cached.
    OwnedExprParser getParser() const;
    // The type the current text gives; none if it doesn't parse.
    boost::optional<EnumConnectorType> getExpressionOutputType() const;
    // The verdict of export: the text parses to the declared output type.
    bool isValid() const;

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncExpression();
    explicit BlockFuncExpression(LoadFlag flag);
    BlockFuncExpression(const BlockFuncExpression& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    const Input& input(unsigned int index) const
    {
        DEBUG_ASSERT(index < inputs_.size());
        return *inputs_[index];
    }
    Input& input(unsigned int index)
    {
        DEBUG_ASSERT(index < inputs_.size());
        return *inputs_[index];
    }

    // A reflected or locked block keeps the output that it synchronised from its source.
    bool derivesOwnOutput() const { return !getReflSourceRef() && !isLockedByParentReflection(); }
    // Sets "output_type" and "output_valid" from a new parse, telling nobody.
    void deriveOutput();
    void updateOutputType();
    void resizeInputs(unsigned int count);

    Prop<std::string> expression_;
    SharedProp<unsigned int> numInputs_;
    SharedProp<EnumConnectorType> outputType_;
    SharedProp<bool> outputValid_;
    // On the heap: each input registers its properties with the block.
    std::vector<std::unique_ptr<Input>> inputs_;
};

}  // namespace Plm
