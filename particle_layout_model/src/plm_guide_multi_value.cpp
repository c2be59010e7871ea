#include <algorithm>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_value.h"
#include "plm_guide_detail.h"
#include "plm_guide_value_detail.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Eg
{

namespace
{

constexpr uint32_t kMultiValueVersion = 0;
constexpr uint32_t kPointVersion = 3;

bool isLabel(const std::string& label)
{
    return label.size() == 1 && label[0] >= 'a' &&
           label[0] < static_cast<char>('a' + MultiValue::kMaxRows);
}

}  // namespace

// MultiValue

MultiValue::MultiValue(EmitterGuide& guide, const ValueBuilder& builder, unsigned int dimensions)
    : BaseDimensions(guide, dimensions), builder_(builder)
{
    auto scope = guide.scopedChange();
    Row row;
    row.id = BoostExt::generateUuid();
    row.label = "a";
    row.value = builder_.buildDefaultType(dimensions, true);
    row.dimensions = dimensions;
    rows_.push_back(std::move(row));
    valid_ = true;
}

MultiValue::MultiValue(EmitterGuide& guide, const ValueBuilder& builder, Sl::RevisionLoader& loader)
    : BaseDimensions(guide, 1), builder_(builder)
{
    Sl::ScopedLoaderGroup dimensionsGroup(loader, 0);
    setDimensionsOnLoad(loadDimensions(loader));
    Sl::ScopedLoaderGroup group(loader, kMultiValueVersion);
    {
        Sl::ScopedLoaderGroup rows(loader, 0);
        uint32_t count = 0;
        loader.read(count, Sl::PH_Packed);
        if (count == 0 || count > kMaxRows)
            throw Sl::CorruptedDataException();
        for (uint32_t i = 0; i < count; ++i)
        {
            Sl::ScopedLoaderGroup item(loader, 0);
            Row row;
            Sl::read(loader, row.id);
            Sl::read(loader, row.label);
            if (!isLabel(row.label) ||
                std::any_of(rows_.begin(), rows_.end(),
                            [&](const Row& other) { return other.label == row.label; }))
                throw Sl::CorruptedDataException();
            row.value = builder_.buildForLoad(loader);
            row.dimensions = row.value->dimensions();
            rows_.push_back(std::move(row));
        }
    }
    Sl::read(loader, expr_);
    expression_.load(loader);
    exprEnabled_ = static_cast<bool>(expr_);
    // Without an expression the one row gives the output, in the value's dimensions.
    if (!exprEnabled_ && (rows_.size() != 1 || rows_[0].dimensions != dimensions()))
        throw Sl::CorruptedDataException();
    valid_ = std::all_of(rows_.begin(), rows_.end(),
                         [](const Row& row) { return row.value->isValid(); });
}

MultiValue::MultiValue(EmitterGuide& guide, const ValueBuilder& builder, Base::EmptyReflectionTag)
    : BaseDimensions(guide, 1), builder_(builder)
{
}

MultiValue::~MultiValue() = default;

Value& MultiValue::rowValue(unsigned int index) const
{
    DEBUG_ASSERT(index < rows_.size());
    return *rows_[index].value;
}

const std::string& MultiValue::rowLabel(unsigned int index) const
{
    DEBUG_ASSERT(index < rows_.size());
    return rows_[index].label;
}

unsigned int MultiValue::rowDimensions(unsigned int index) const
{
    DEBUG_ASSERT(index < rows_.size());
    return rows_[index].dimensions;
}

const Uuid& MultiValue::rowId(unsigned int index) const
{
    DEBUG_ASSERT(index < rows_.size());
    return rows_[index].id;
}

void MultiValue::setRowId(unsigned int index, const Uuid& id)
{
    DEBUG_ASSERT(index < rows_.size());
    rows_[index].id = id;
}

std::string MultiValue::freeLabel() const
{
    for (char letter = 'a'; letter < static_cast<char>('a' + kMaxRows); ++letter)
    {
        const std::string label(1, letter);
        if (std::none_of(rows_.begin(), rows_.end(),
                         [&](const Row& row) { return row.label == label; }))
            return label;
    }
    DEBUG_ASSERT(false);
    return std::string();
}

void MultiValue::addRow(unsigned int dimensions)
{
    if (rows_.size() >= kMaxRows)
        return;
    auto scope = guide().scopedChange();
    Row row;
    row.id = BoostExt::generateUuid();
    row.label = freeLabel();
    // Only a lone row may live in the target property.
    row.value = builder_.buildDefaultType(dimensions, false);
    row.dimensions = dimensions;
    rows_.push_back(std::move(row));
    if (!exprEnabled_)
        enableExpr(true);
    else
        updateBlockExprInputs();
}

void MultiValue::removeRow(unsigned int index)
{
    DEBUG_ASSERT(rows_.size() > 1);
    DEBUG_ASSERT(index < rows_.size());
    auto scope = guide().scopedChange();
    rows_[index].value->removeFromEmitter();
    rows_.erase(rows_.begin() + index);
    if (exprEnabled_)
        updateBlockExprInputs();
}

void MultiValue::changeRowDimensions(unsigned int index, unsigned int dimensions)
{
    DEBUG_ASSERT(index < rows_.size());
    auto scope = guide().scopedChange();
    rows_[index].value->changeDimensions(dimensions);
    rows_[index].dimensions = dimensions;
    if (exprEnabled_)
        updateBlockExprInputs();
}

void MultiValue::enableExpr(bool enable)
{
    if (enable == exprEnabled_)
        return;
    auto scope = guide().scopedChange();
    if (enable)
    {
        rows_[0].value->enablePropValue(false);
        // The expression's output feeds the property from now on.
        if (const boost::optional<ValueBlockProp>& prop = builder_.blockProp())
            if (Block* block = findBlock(prop->blockId()))
            {
                const std::unique_ptr<FloatsPropChanger> changer = prop->changer(*block);
                if (!changer->isExternal())
                    changer->setExternal(true);
            }
        createBlockExpr();
        exprEnabled_ = true;
        updateBlockExprInputs();
        return;
    }
    DEBUG_ASSERT(rows_.size() == 1);
    removeBlockExpr();
    exprEnabled_ = false;
    expression_ = Refl<std::string>();
    Value& value = *rows_[0].value;
    if (!value.isDimensionSupported(dimensions()))
        value.changeToDefaultType();
    value.changeDimensions(dimensions());
    rows_[0].dimensions = dimensions();
    value.enablePropValue(true);
    rows_[0].label = "a";
}

void MultiValue::createBlockExpr()
{
    std::string text;
    for (const Row& row : rows_)
        text += (text.empty() ? "" : " * ") + row.label;
    std::unique_ptr<BlockFuncExpression> block = BlockFuncExpression::create();
    block->setExpression(text);
    expr_ = block->getId();
    BlockFuncExpression& added = addBlock(std::move(block));
    updateReflFromProp(expression_, added.expressionProp());
}

void MultiValue::removeBlockExpr()
{
    removeBlockIfExists(expr_);
    expr_ = boost::none;
}

void MultiValue::updateBlockExprInputs()
{
    BlockFuncExpression* block = findBlockAs<BlockFuncExpression>(expr_);
    if (!block)
        return;
    block->setNumInputs(static_cast<unsigned int>(rows_.size()));
    for (unsigned int i = 0; i < rows_.size(); ++i)
    {
        block->setInputName(i, rows_[i].label);
        block->setInputType(i, Detail::connectorTypeOf(rows_[i].dimensions));
    }
}

bool MultiValue::expressionValid() const
{
    const BlockFuncExpression* block = findBlockAs<BlockFuncExpression>(expr_);
    return block && block->isValid() &&
           static_cast<unsigned int>(block->getOutputType()) + 1 == dimensions();
}

void MultiValue::changeExpression(const std::string& text)
{
    BlockFuncExpression* block = findBlockAs<BlockFuncExpression>(expr_);
    if (!block || text == expression_.get())
        return;
    auto scope = guide().scopedChange();
    block->setExpression(text);
    updateReflFromProp(expression_, block->expressionProp());
}

void MultiValue::discardExpression()
{
    BlockFuncExpression* block = findBlockAs<BlockFuncExpression>(expr_);
    if (!block)
        return;
    auto scope = guide().scopedChange();
    block->setExpression(boost::none);
    updateReflFromProp(expression_, block->expressionProp());
}

boost::optional<BlockConnector> MultiValue::targetConnector() const
{
    const boost::optional<ValueBlockProp>& prop = builder_.blockProp();
    if (!prop)
        return boost::none;
    return findConnector(prop->blockId(), prop->connectorIndex);
}

void MultiValue::linkIfPresent(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                               uint32_t inputIndex) const
{
    if (output && findConnector(inputId, inputIndex))
        link(output, inputId, inputIndex);
}

void MultiValue::linkIfPresent(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                               uint32_t inputIndex) const
{
    linkIfPresent(findConnector(outputId, outputIndex), inputId, inputIndex);
}

void MultiValue::updateFromEmitter()
{
    valid_ = false;
    if (!exprEnabled_)
    {
        DEBUG_ASSERT(rows_.size() == 1);
        rows_[0].value->updateFromEmitter();
        valid_ = rows_[0].value->isValid();
        return;
    }
    bool ok = true;
    for (Row& row : rows_)
    {
        row.value->updateFromEmitter();
        ok &= row.value->isValid();
    }
    const BlockFuncExpression* block = findBlockAs<BlockFuncExpression>(expr_);
    if (!block)
        return;
    updateReflFromProp(expression_, block->expressionProp());
    if (block->getNumInputs() != rows_.size())
        return;
    for (unsigned int i = 0; i < rows_.size(); ++i)
    {
        ok = ok && block->getInputName(i) == rows_[i].label &&
             block->getInputType(i) == Detail::connectorTypeOf(rows_[i].dimensions) &&
             hasLink(rows_[i].value->getOutputConnector(), *expr_,
                     BlockFuncExpression::kFirstInputConnector + i);
    }
    if (const boost::optional<ValueBlockProp>& prop = builder_.blockProp())
        if (expressionValid())
            ok = ok && hasLink(*expr_, BlockFuncExpression::kOutputConnector, prop->blockId(),
                               prop->connectorIndex);
    valid_ = ok;
}

void MultiValue::fixLinks()
{
    for (Row& row : rows_)
        row.value->fixLinks();
    if (!valid_ || !exprEnabled_ || !findBlock(expr_))
        return;
    for (unsigned int i = 0; i < rows_.size(); ++i)
        if (const boost::optional<BlockConnector> output = rows_[i].value->getOutputConnector())
            linkIfPresent(output, *expr_, BlockFuncExpression::kFirstInputConnector + i);
    if (const boost::optional<ValueBlockProp>& prop = builder_.blockProp())
        if (expressionValid() && targetConnector())
            linkIfPresent(*expr_, BlockFuncExpression::kOutputConnector, prop->blockId(),
                          prop->connectorIndex);
}

void MultiValue::removeFromEmitter()
{
    for (Row& row : rows_)
        row.value->removeFromEmitter();
    removeBlockIfExists(expr_);
}

boost::optional<BlockConnector> MultiValue::getOutputConnector() const
{
    if (exprEnabled_)
        return expr_ ? findConnector(*expr_, BlockFuncExpression::kOutputConnector) : boost::none;
    return rows_[0].value->getOutputConnector();
}

void MultiValue::processEvent(const Event& event)
{
    for (Row& row : rows_)
        row.value->processEvent(event);
}

void MultiValue::collectValues(std::vector<Value*>& values)
{
    for (Row& row : rows_)
        row.value->collectValues(values);
}

void MultiValue::changeDimensionsImpl(unsigned int dimensions)
{
    auto scope = guide().scopedChange();
    if (exprEnabled_)
    {
        // The expression decides the output's dimensions; the rows keep theirs.
        updateBlockExprInputs();
        return;
    }
    DEBUG_ASSERT(rows_.size() == 1);
    Value& value = *rows_[0].value;
    if (!value.isDimensionSupported(dimensions))
        value.changeToDefaultType();
    value.changeDimensions(dimensions);
    rows_[0].dimensions = dimensions;
}

void MultiValue::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const MultiValue& other = static_cast<const MultiValue&>(source);
    setDimensionsOnLoad(other.dimensions());
    // The rows' values are built from this object's builder, whose block functions name the
    // owner of this twin.
    Detail::syncById(
        rows_, other.rows_, [](const Row& row) { return row.id; },
        [this](const Row& from)
        {
            Row row;
            row.value = builder_.reflect(*from.value);
            return row;
        },
        [](Row& row, const Row& from)
        {
            row.id = from.id;
            row.label = from.label;
            row.dimensions = from.dimensions;
            row.value->syncReflection(*from.value);
        });
    exprEnabled_ = other.exprEnabled_;
    expr_ = reflBlockId(other, other.expr_);
    expression_.syncBase(other.expression_);
    valid_ = other.valid_;
}

void MultiValue::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("multi_value", saver, kMultiValueVersion);
    {
        Sl::ScopedSaverGroup rows("rows", saver, 0);
        saver.write("num_items", static_cast<uint32_t>(rows_.size()), Sl::PH_Packed);
        for (const Row& row : rows_)
        {
            Sl::ScopedSaverGroup item("row", saver, 0);
            Sl::write("id", saver, row.id);
            Sl::write("label", saver, row.label);
            row.value->save(saver);
        }
    }
    Sl::write("expression_block", saver, expr_);
    expression_.save("expression", saver);
}

// Point

Point::Point(EmitterGuide& guide, const ValueBuilder& builder)
    : Base(guide), builder_(builder), value_(std::make_unique<MultiValue>(guide, builder, 3))
{
    valid_ = true;
}

Point::Point(EmitterGuide& guide, const ValueBuilder& builder, Sl::RevisionLoader& loader)
    : Base(guide), builder_(builder)
{
    Detail::CurrentGroup group(loader, kPointVersion);
    loader.read(valid_);
    value_ = std::make_unique<MultiValue>(guide, builder_, loader);
    if (value_->dimensions() != 3)
        throw Sl::CorruptedDataException();
}

Point::Point(EmitterGuide& guide, const ValueBuilder& builder, std::unique_ptr<MultiValue> value)
    : Base(guide), builder_(builder), value_(std::move(value))
{
    DEBUG_ASSERT(value_ && value_->dimensions() == 3);
    valid_ = value_->isValid();
}

Point::Point(EmitterGuide& guide, const ValueBuilder& builder, Base::EmptyReflectionTag)
    : Base(guide), builder_(builder)
{
}

Point::~Point() = default;

void Point::updateFromEmitter()
{
    valid_ = false;
    value_->updateFromEmitter();
    valid_ = value_->isValid();
}

void Point::fixLinks() { value_->fixLinks(); }

void Point::removeFromEmitter() { value_->removeFromEmitter(); }

boost::optional<BlockConnector> Point::getOutputConnector() const
{
    return value_->getOutputConnector();
}

void Point::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("point", saver, kPointVersion);
    saver.write("valid", valid_);
    value_->save(saver);
}

void Point::syncReflection(const Base& source)
{
    DEBUG_ASSERT(typeid(*this) == typeid(source));
    const Point& other = static_cast<const Point&>(source);
    if (!value_)
        value_ = std::make_unique<MultiValue>(guide(), builder_, Base::EmptyReflectionTag());
    value_->syncReflection(*other.value_);
    valid_ = other.valid_;
}

void Point::processEvent(const Event& event) { value_->processEvent(event); }

void Point::collectValues(std::vector<Value*>& values) { value_->collectValues(values); }

}  // namespace Eg
}  // namespace Plm
