#pragma once

// What the model's tests share: block records written by hand (as older or newer writers made
// them), property records, connector lists and their printing.

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>
#include <glm/vec2.hpp>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{
// Readable connectors in failure messages.
inline void PrintTo(const BlockConnectorDesc& d, std::ostream* os)
{
    *os << (d.dir_ == CD_Input ? "in " : "out ") << d.index_ << ": " << connectorTypeName(d.type_);
}
}  // namespace Plm

namespace PlmTest
{

using Content = std::function<void(Sl::RevisionSaver&)>;
using Descs = std::vector<Plm::BlockConnectorDesc>;

// The identity part of a block record.
struct RecordHead
{
    boost::uuids::uuid id = BoostExt::generateUuid();
    boost::optional<Plm::ReflectionSourceRef> source;
    uint32_t blockVersion = 0;
};

// A block record laid out as Block::save writes it in line, with `content` in place of the
// kind's own part.
inline std::vector<uint8_t> writeBlock(const char* factoryName, const Content& content,
                                       const RecordHead& head = RecordHead())
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        Sl::write("factory_name", saver, std::string(factoryName));
        Sl::ScopedSaverGroup block("block", saver, head.blockVersion);
        Sl::write("id", saver, head.id);
        {
            Sl::ScopedSaverGroup refl("refl_source", saver);
            saver.write(nullptr, static_cast<bool>(head.source));
            if (head.source)
                Sl::write(nullptr, saver, *head.source);
        }
        Sl::write("emitter_id", saver, BoostExt::generateUuid());
        Sl::write("system_id", saver, BoostExt::generateUuid());
        Sl::write("revision", saver, BoostExt::generateUuid());
        const boost::optional<boost::uuids::uuid> none;
        for (const char* key : {"dir_refl_rev", "emt_refl_rev", "sys_refl_rev"})
            Sl::write(key, saver, none);
        content(saver);
    }
    return flex.dataAsVector();
}

// The "block_func" group of a function block in the given version: 0 holds the position only,
// 1 a flag that later versions dropped and the home force, 2 pinned and the home force.
inline void writeFuncGroup(Sl::RevisionSaver& saver, uint32_t version = 2,
                           glm::vec2 position = glm::vec2(0.0f), uint8_t homeForce = 0)
{
    Sl::ScopedSaverGroup func("block_func", saver, version);
    Sl::write("position", saver, position);
    if (version == 1)
        saver.write(nullptr, true);
    if (version == 2)
        saver.write("pinned", false);
    if (version >= 1)
        saver.write("homeForce", homeForce);
}

// A property record without override.
template <class T>
void writeProp(Sl::RevisionSaver& saver, const char* key, const T& value, bool external = false)
{
    Plm::PropsOwner owner;
    Plm::Prop<T>(owner, external, value).save(key, saver);
}

inline std::unique_ptr<Plm::Block> load(const std::vector<uint8_t>& bytes)
{
    return Plm::loadBlockPlain(bytes.data(), bytes.size());
}

inline std::unique_ptr<Plm::Block> createByName(const char* name)
{
    return Plm::BlocksFactory::instance().createDefaultByName(CrcString(name));
}

inline Descs connectorsOf(const Plm::Block& block)
{
    Descs descs;
    for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
        descs.push_back(block.getConnectorDesc(i));
    return descs;
}

}  // namespace PlmTest
