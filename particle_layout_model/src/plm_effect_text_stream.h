#pragma once

// The values of an effect's save stream as a tree, the saver that records them and the
// loader that serves them back to the model from a tree read from JSON: the inner part of
// the text form of an effect (plm_effect_text.h).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "particle_layout_model/plm_effect_text.h"
#include "revision_saveload/sl_saver.h"

namespace Plm
{

class ProjectResource;

namespace EffectText
{

// One value of the save stream. The dump fills it from the saver's calls; the load from the
// JSON, and then the kinds are only what JSON can tell.
struct Node
{
    enum Kind : uint8_t
    {
        K_Group,
        K_Bool,
        K_Int,
        K_Uint,
        K_Real,
        K_Bytes,
    };
    Kind kind = K_Group;
    Sl::EnumType type = Sl::T_Group;
    bool named = false;
    std::string name;
    uint32_t version = 0;
    bool b = false;
    int64_t i = 0;
    uint64_t u = 0;
    double d = 0;
    std::string bytes;
    std::vector<Node> children;
    // Read side: where the value stands in the JSON, and what shape it had there.
    std::string path;
    bool list = false;
    bool text = false;
    // Not in the text: the nested form stands for it (counts, flags).
    bool implied = false;
};

inline std::string memberPath(const std::string& parent, const std::string& key)
{
    return parent.empty() ? key : parent + "." + key;
}

inline std::string itemPath(const std::string& parent, size_t index)
{
    return parent + "[" + std::to_string(index) + "]";
}

// A value that the nested form implies, at the place of the member that implies it.
inline Node leaf(Node::Kind kind, const std::string& path)
{
    Node node;
    node.kind = kind;
    node.path = path;
    node.implied = true;
    return node;
}

// Text forms of stream values.
bool isUtf8(const std::string& s);
std::string toBase64(const std::string& in);
bool fromBase64(const std::string& in, std::string& out);
// The canonical text of 16 bytes, and back (lower case only).
std::string uuidText(const std::string& bytes);
bool parseUuid(const std::string& text, std::string& bytes);
// The shortest decimal that reads back to the same float (or double), as the double the
// JSON holds; the writer then prints it short.
double shortestReal(double value, bool single);

// What the resource writes when it is saved in line, as a tree: the root holds one group.
Node captureRecord(const ProjectResource& resource);

// The effect that the model reads from the tree (the root holds one group), post-loaded.
// Every read is checked against the tree; any failure is an EffectJsonError that names the
// member where reading stopped.
std::unique_ptr<ProjectResource> loadRecord(const Node& root);

}  // namespace EffectText
}  // namespace Plm
