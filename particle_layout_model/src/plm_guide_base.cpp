#include "particle_layout_model/plm_guide_base.h"

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
namespace Eg
{

boost::optional<Uuid> findReflectedBlockId(const Emitter& emitter, const Emitter& sourceEmitter,
                                           const Uuid& sourceId)
{
    const Block* source = sourceEmitter.findBlockById(sourceId);
    if (!source)
        return boost::none;
    if (const Block* block = emitter.findBlockBySystemReflId(source->getSystemReflId()))
        return block->getId();
    if (const Block* block = emitter.findBlockByEmitterReflId(source->getEmitterReflId()))
        return block->getId();
    return boost::none;
}

Emitter& Base::emitter() const { return guide_.emitter(); }

Block* Base::findBlock(const Uuid& id) const { return emitter().findBlockById(id); }

Uuid Base::reflBlockId(const Base& source, const Uuid& sourceId) const
{
    return findReflectedBlockId(emitter(), source.emitter(), sourceId).value_or(Uuid{});
}

void Base::addBlockImpl(std::unique_ptr<Block> block) const
{
    Block& added = emitter().addBlock(std::move(block));
    if (BlockFunc* func = added.castToBlockFunc())
        guide_.setRandomPositionForBlock(*func);
}

void Base::removeBlockIfExists(const Uuid& id) const
{
    if (findBlock(id))
        emitter().removeBlock(id);
}

boost::optional<BlockConnector> Base::findConnector(const Uuid& blockId, uint32_t index) const
{
    const Block* block = findBlock(blockId);
    return block ? block->findConnectorById(index) : boost::none;
}

bool Base::hasLink(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                   uint32_t inputIndex) const
{
    if (!output)
        return false;
    const boost::optional<BlockConnector> input = findConnector(inputId, inputIndex);
    return input && emitter().getLinkIndex(BlockLink{*output, *input});
}

bool Base::hasLink(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                   uint32_t inputIndex) const
{
    return hasLink(findConnector(outputId, outputIndex), inputId, inputIndex);
}

void Base::link(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                uint32_t inputIndex) const
{
    DEBUG_ASSERT(output);
    const boost::optional<BlockConnector> input = findConnector(inputId, inputIndex);
    DEBUG_ASSERT(input);
    emitter().createLink(BlockLink{*output, *input});
}

void Base::link(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                uint32_t inputIndex) const
{
    link(findConnector(outputId, outputIndex), inputId, inputIndex);
}

boost::optional<BlockLink> Base::linkOnInput(const Uuid& inputId, uint32_t inputIndex) const
{
    const boost::optional<BlockConnector> input = findConnector(inputId, inputIndex);
    if (!input)
        return boost::none;
    const Emitter& e = emitter();
    for (unsigned int i = 0; i < e.getNumLinks(); ++i)
        if (e.getLink(i).input_ == *input)
            return e.getLink(i);
    return boost::none;
}

void BaseDimensions::changeDimensions(unsigned int value)
{
    if (value == dimensions_)
        return;
    DEBUG_ASSERT(isDimensionSupported(value));
    changeDimensionsImpl(value);
    dimensions_ = value;
}

void BaseDimensions::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, 0);
    Sl::write("dimensions", saver, static_cast<uint32_t>(dimensions_));
    saveImpl(saver);
}

unsigned int BaseDimensions::loadDimensions(Sl::RevisionLoader& loader)
{
    uint32_t dimensions = 0;
    Sl::read(loader, dimensions);
    if (dimensions < 1 || dimensions > 3)
        throw Sl::CorruptedDataException();
    return dimensions;
}

}  // namespace Eg
}  // namespace Plm
