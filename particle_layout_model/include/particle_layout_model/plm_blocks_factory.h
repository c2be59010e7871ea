#pragma once

#include <map>
#include <memory>
#include <vector>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_crc_string.h"

namespace Plm
{

class Block;

// Makes blocks by their factory name: empty ones for reading files, and ones with the
// defaults of their kind. One process-wide instance, made on first use.
class BlocksFactory
{
public:
    using CreateFunc = std::unique_ptr<Block> (*)();

    static const BlocksFactory& instance();

    // A new block of that kind, built for load() to fill; null for an unknown name.
    std::unique_ptr<Block> createForLoadByName(const CrcString& name) const;
    // A new block of that kind with its defaults and connectors, as create() makes it (kinds
    // whose create() takes an argument get a representative one); null for an unknown name.
    std::unique_ptr<Block> createDefaultByName(const CrcString& name) const;
    // Every registered name, in the order of the catalogue.
    const std::vector<CrcString>& names() const { return names_; }

    // The default maker of a kind whose create() takes no argument.
    template <class T>
    static std::unique_ptr<Block> createByDefault()
    {
        return T::create();
    }

    // Registers a kind: its factory name, its object for loading and its default block. Only
    // the registration functions below call it, while the instance is made.
    template <class T>
    void addFactory(CreateFunc createDefault = &createByDefault<T>)
    {
        const CrcString& name = T::getStaticFactoryName();
        DEBUG_ASSERT(factories_.count(name) == 0);
        factories_.emplace(name, Entry{&T::createForLoad, createDefault});
        names_.push_back(name);
    }

private:
    struct Entry
    {
        CreateFunc createForLoad;
        CreateFunc createDefault;
    };

    BlocksFactory();

    std::map<CrcString, Entry> factories_;
    std::vector<CrcString> names_;
};

// The registrations of the catalogue, one per family of kinds, in the catalogue's order.
void registerFunctionBlocks(BlocksFactory& factory);
void registerStructuralBlocks(BlocksFactory& factory);
void registerParameterBlocks(BlocksFactory& factory);

}  // namespace Plm
