#pragma once

#include <string>
#include <vector>

namespace Plm
{

class Block;

// One property of a block as its save form shows it: the key, the kind of value, the default
// and the override as text.
struct PropertyDescription
{
    std::string key;
    // "bool", "byte" (also enumerations), "ushort", "uint", "float", "vec2", "vec3", "quat",
    // "string", "uuid", "optional uuid", "path", "curve", or "data" for anything else.
    std::string type;
    std::string defaultValue;
    bool overridden = false;
    std::string overrideValue;
    bool external = false;
    bool shared = false;
};

// The properties of a block in their saved order, read from what the block writes, so that
// the description follows the file and not a second list. Values print with 9 significant
// digits ("%.9g").
std::vector<PropertyDescription> describeProperties(const Block& block);

}  // namespace Plm
