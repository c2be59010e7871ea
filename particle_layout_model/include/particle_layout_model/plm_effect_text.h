#pragma once

// The text form of an effect: the whole content of an effect file as JSON, for version
// control, review and scripting, and back.
//
// The JSON follows what the model writes when it saves the effect, value by value, with the
// names the model gives them: every group becomes an object (a group of a version carries it
// as "$version"), a list an array, an identity its usual text form, a string a string (bytes
// that aren't UTF-8 an object {"base64": ...}). Unnamed values take the key "_<index>". The
// effect's flat record of emitters and blocks is shown nested instead: "emitters" holds each
// emitter in the effect's order with its resource record, its "blocks" (factory name and
// block record each) and its "guide"; "block_resources" the effect's free-standing blocks.
// A property is the object {"default", "override": {"set", "value"}, "external"}. A guide's
// body is "content", its sections named as the guide names them ("generation", "color", ...).
//
// Reading is strict: every member must stand where the dump puts it, with the kind of value
// the model reads there. Anything else is refused with the path of the member (for example
// `effect.system.emitters[0].blocks[0].block.gen_periodic.fixed_rate.default`: a block's
// record holds its kind's own group, named as the kind, and in it the properties).

#include <memory>
#include <stdexcept>
#include <string>

namespace Plm
{

class ProjectResourceSystem;

// A text form that can't be read: where, and why.
class EffectJsonError : public std::runtime_error
{
public:
    EffectJsonError(std::string path, const std::string& message);
    // The member at fault, as `a.b[2].c`; empty for the text as a whole (bad JSON syntax).
    const std::string& path() const { return path_; }
    // Why, without the path.
    const std::string& message() const { return message_; }

private:
    std::string path_;
    std::string message_;
};

// The whole effect (settings, block resources, emitters with their blocks, links and guides,
// the preview scene, the comment and the video address), indented, keys in a fixed order.
std::string dumpEffectJson(const ProjectResourceSystem& resource);

// The effect that a dump describes, loaded as a file is loaded (postLoad included) and not
// connected to any file. Throws EffectJsonError for anything it can't take; nothing is
// changed anywhere then.
std::unique_ptr<ProjectResourceSystem> loadEffectJson(const std::string& text);

}  // namespace Plm
