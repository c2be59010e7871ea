#pragma once

// Helpers shared by the sources of the guide's values; not part of the model's interface.

#include <algorithm>
#include <memory>
#include <vector>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block_connector.h"
#include "particle_layout_model/plm_block_func_distrib.h"
#include "particle_layout_model/plm_guide_base.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"

namespace Plm
{
namespace Eg
{
namespace Detail
{

inline EnumConnectorType connectorTypeOf(unsigned int dimensions)
{
    switch (dimensions)
    {
    case 1:
        return CT_Float;
    case 2:
        return CT_Vec2;
    default:
        DEBUG_ASSERT(dimensions == 3);
        return CT_Vec3;
    }
}

// The components of a float, vec2 or vec3, and back (missing components are 0).
template <class T>
std::vector<float> toFloats(const T& value)
{
    const float* data = reinterpret_cast<const float*>(&value);
    return std::vector<float>(data, data + sizeof(T) / sizeof(float));
}

template <class T>
T fromFloats(const std::vector<float>& values)
{
    T value{};
    float* data = reinterpret_cast<float*>(&value);
    for (size_t i = 0; i < sizeof(T) / sizeof(float) && i < values.size(); ++i)
        data[i] = values[i];
    return value;
}

// Calls f with the value type of `dimensions` components (a float, vec2 or vec3 object).
template <class F>
auto withValueType(unsigned int dimensions, F&& f)
{
    switch (dimensions)
    {
    case 1:
        return f(float());
    case 2:
        return f(glm::vec2());
    default:
        DEBUG_ASSERT(dimensions == 3);
        return f(glm::vec3());
    }
}

inline std::unique_ptr<Block> createDistribBlock(unsigned int dimensions)
{
    return withValueType(dimensions,
                         [](auto zero) -> std::unique_ptr<Block>
                         { return BlockFuncDistrib<decltype(zero)>::create(); });
}

// Calls f with the block as a distribution of `dimensions` components; false if it isn't one.
template <class F>
bool visitDistrib(Block* block, unsigned int dimensions, F&& f)
{
    return withValueType(dimensions,
                         [&](auto zero)
                         {
                             auto* distrib = dynamic_cast<BlockFuncDistrib<decltype(zero)>*>(block);
                             if (!distrib)
                                 return false;
                             f(*distrib);
                             return true;
                         });
}

// The "num_items" of a list whose length the reader knows.
inline void readExpectedCount(Sl::Loader& loader, uint32_t expected)
{
    uint32_t count = 0;
    loader.read(count, Sl::PH_Packed);
    if (count != expected)
        throw Sl::CorruptedDataException();
}

// Brings `items` to the items of `source` in their order, matched by id: an item keeps its
// twin (and the overrides made there) when the source removes or moves others; a new one is
// made by `make`. Each pair is then synced.
template <class T, class Id, class Make, class Sync>
void syncById(std::vector<T>& items, const std::vector<T>& source, Id&& id, Make&& make,
              Sync&& sync)
{
    std::vector<T> result;
    result.reserve(source.size());
    for (const T& from : source)
    {
        const auto found = std::find_if(items.begin(), items.end(),
                                        [&](const T& item) { return id(item) == id(from); });
        if (found != items.end())
        {
            result.push_back(std::move(*found));
            items.erase(found);
        }
        else
            result.push_back(make(from));
        sync(result.back(), from);
    }
    items = std::move(result);
}

// Each form value takes the source's value as its base, to the source's number of items; the
// overrides made here stay.
template <class T>
void syncRefls(std::vector<Refl<T>>& items, const std::vector<Refl<T>>& source)
{
    syncVector(
        items, source, [](const Refl<T>&) { return Refl<T>(); },
        [](Refl<T>& item, const Refl<T>& from) { item.syncBase(from); });
}

}  // namespace Detail
}  // namespace Eg
}  // namespace Plm
