#pragma once
// Small helpers that the synchronisation of blocks, emitters and effects shares.

#include <algorithm>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

namespace Plm
{

// Records the source's revision if it differs from the recorded one (unset counts as
// different, a missing source as no change); returns whether it did.
template <class Source>
inline bool recordSourceRevision(boost::optional<boost::uuids::uuid>& recorded,
                                 const Source* source)
{
    if (!source || (recorded && *recorded == source->getRevision()))
        return false;
    recorded = source->getRevision();
    return true;
}

// Sorts the items of `list` that `sourceIndex` knows into the order of their indices, by
// swapping neighbours among those items only; the others keep their places.
template <class SourceIndex>
inline void bubbleIntoSourceOrder(std::vector<boost::uuids::uuid>& list, SourceIndex sourceIndex)
{
    std::vector<size_t> places;
    std::vector<unsigned int> indices;
    for (size_t i = 0; i < list.size(); ++i)
        if (const boost::optional<unsigned int> index = sourceIndex(list[i]))
        {
            places.push_back(i);
            indices.push_back(*index);
        }
    size_t end = places.size();
    while (end > 1)
    {
        size_t lastSwap = 0;
        for (size_t k = 1; k < end; ++k)
            if (indices[k] < indices[k - 1])
            {
                std::swap(list[places[k]], list[places[k - 1]]);
                std::swap(indices[k], indices[k - 1]);
                lastSwap = k;
            }
        end = lastSwap;
    }
}

}  // namespace Plm
