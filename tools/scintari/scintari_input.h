#pragma once

// Input files of the tool's commands and the messages that refuse them. The messages are for
// people: they say what is wrong in words and, for damaged data, at which byte offset of the
// file; they never show a C++ type or an assertion.

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ps
{
class Context;
class MemManagedSystemShell;
}  // namespace Ps

namespace Sl
{
class Exception;
}

namespace Scintari
{

// The largest input file a command reads: far above any effect, curve or block, and a
// bound on what a mistaken argument (a disk image, a device) can make the tool read.
constexpr std::uint64_t kMaxInputBytes = 64ull << 20;

// Reads the whole of a regular file of at most kMaxInputBytes. Anything else (a missing
// file, a folder, a device such as /dev/zero, a pipe, a larger file) is refused: false, with
// `why` saying so, e.g. "'/dev/zero' is not a regular file".
bool readInputFile(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& why);

// "the data ends too early", "the data is damaged", ...: what a stream failure means.
std::string describeStreamFailure(const Sl::Exception& e);

// A stream failure with its place: "the data ends too early at byte 228".
std::string describeStreamFailure(const Sl::Exception& e, std::optional<std::uint64_t> offset);

// Loads a compiled effect. On refusal it returns null and `why` says what is wrong, e.g.
//   the data ends too early at byte 228
//   the effect is damaged at byte 1043
// or, for a refusal by the runtime's bounds or memory budget (Ps::LimitException), its
// message as it is.
std::unique_ptr<Ps::MemManagedSystemShell> loadEffect(const std::vector<std::uint8_t>& bytes,
                                                      Ps::Context& context, std::string& why);

// Where the loading of `bytes` stops with a stream failure or a broken check, found by
// reading them again as the runtime does; nothing when it doesn't stop.
std::optional<std::uint64_t> locateLoadFailure(const std::vector<std::uint8_t>& bytes,
                                               const Ps::Context& context);

// A failure in words, for one that ends a command: a refusal by the runtime's bounds is its
// own message, any other broken check of the runtime or the model is "<subject> is damaged",
// a stream failure says what it is, and an exception of another kind gives its message.
std::string describeFailure(const std::exception& e, const std::string& subject = "the effect");

}  // namespace Scintari
