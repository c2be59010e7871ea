#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "revision_saveload/sl_saver.h"

namespace Sl
{
class RevisionLoader;
class RevisionSaver;
}  // namespace Sl

namespace Plm
{

class Emitter;
class EmitterOwner;

// An emitter in line with its blocks, as tools and the clipboard of one emitter write it: a
// plain revision saver over a binary stream holding the emitter without blocks, "num_blocks"
// and the blocks in the order of all blocks, then the emitter's guide part. An effect writes
// the same parts in its own order.
// The same parts through a revision saver of any kind (the undo store's pictures among them).
void saveEmitterInline(Sl::RevisionSaver& saver, const Emitter& emitter);
// Reads what saveEmitterInline wrote, as loadEmitterPlain does.
std::unique_ptr<Emitter> loadEmitterInline(Sl::RevisionLoader& loader, EmitterOwner& owner);

std::vector<uint8_t> saveEmitterPlain(const Emitter& emitter,
                                      Sl::EnumTypeChecking typeChecking = Sl::TC_On);

// Reads what saveEmitterPlain wrote. The emitter is connected with `owner` while its blocks
// are read (blocks that attach other emitters look them up there) but isn't added to it.
// A damaged stream, an unknown block kind or a broken graph raise an Sl::Exception.
std::unique_ptr<Emitter> loadEmitterPlain(const uint8_t* data, size_t size, EmitterOwner& owner);

}  // namespace Plm
