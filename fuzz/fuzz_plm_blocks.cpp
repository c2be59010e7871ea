// Fuzzes the loading of blocks of every kind. The input is a block as the model saves it in
// line (header byte, factory name, identity, content). Only Sl::Exception may come out of the
// loading. A block that loads is put into an emitter of an effect, which builds its
// connectors, and is saved again: that must read back and save to the same bytes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::unique_ptr<Plm::Block> block;
    try
    {
        block = Plm::loadBlockPlain(data, size);
    }
    catch (const Sl::Exception&)
    {
        return 0;
    }
    if (!block)
        return 0;

    const std::vector<uint8_t> saved = Plm::saveBlockPlain(*block);
    std::unique_ptr<Plm::Block> again = Plm::loadBlockPlain(saved.data(), saved.size());
    if (!again || Plm::saveBlockPlain(*again) != saved)
        std::abort();

    Plm::System system;
    Plm::Emitter& emitter = system.addEmitter(std::make_unique<Plm::Emitter>("fuzz"));
    Plm::Block& added = emitter.addBlock(std::move(block));
    for (unsigned int i = 0; i < added.getNumConnectors(); ++i)
        if (added.getConnectorById(added.getConnectorDesc(i).index_) != added.getConnector(i))
            std::abort();
    return 0;
}
