#include "particle_layout_model/plm_block_description.h"

#include <cstdio>
#include <memory>

#include "particle_layout_model/plm_block.h"
#include "revision_saveload/sl_revision_saver.h"

namespace Plm
{

namespace
{

// A value as the saver received it: a leaf with its text and kind, or a group of children.
struct Node
{
    std::string name;
    std::string kind;  // leaf kind, or "group"
    std::string text;
    std::vector<std::unique_ptr<Node>> children;

    const Node* child(const char* childName) const
    {
        for (const auto& c : children)
            if (c->name == childName)
                return c.get();
        return nullptr;
    }
};

std::string formatFloat(double value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", value);
    return buffer;
}

// Records the tree of names and values that a block's save writes, and the properties that
// wrote their records, in order.
class RecordingSaver final : public Sl::Saver, public PropSaveObserver
{
public:
    RecordingSaver() { stack_.push_back(&root_); }
    const Node& root() const { return root_; }
    const std::vector<const PropBase*>& savedProps() const { return savedProps_; }

    void propSaving(const PropBase& prop) override { savedProps_.push_back(&prop); }

    void startGroup(const char* name, uint32_t) override
    {
        Node& node = add(name, "group", "");
        stack_.push_back(&node);
    }
    void endGroup() override { stack_.pop_back(); }
    void write(const char* name, bool v) override { add(name, "bool", v ? "true" : "false"); }
    void write(const char* name, int8_t v) override { add(name, "int", std::to_string(v)); }
    void write(const char* name, uint8_t v) override { add(name, "byte", std::to_string(v)); }
    void write(const char* name, int16_t v, Sl::EnumPackedHint) override
    {
        add(name, "int", std::to_string(v));
    }
    void write(const char* name, uint16_t v, Sl::EnumPackedHint) override
    {
        add(name, "ushort", std::to_string(v));
    }
    void write(const char* name, int32_t v, Sl::EnumPackedHint) override
    {
        add(name, "int", std::to_string(v));
    }
    void write(const char* name, uint32_t v, Sl::EnumPackedHint) override
    {
        add(name, "uint", std::to_string(v));
    }
    void write(const char* name, int64_t v, Sl::EnumPackedHint) override
    {
        add(name, "int", std::to_string(v));
    }
    void write(const char* name, uint64_t v, Sl::EnumPackedHint) override
    {
        add(name, "uint64", std::to_string(v));
    }
    void write(const char* name, float v) override { add(name, "float", formatFloat(v)); }
    void write(const char* name, double v) override { add(name, "double", formatFloat(v)); }
    void writeBinary(const char* name, const uint8_t* data, uint32_t size) override
    {
        add(name, "string", "\"" + std::string(reinterpret_cast<const char*>(data), size) + "\"");
    }

private:
    Node& add(const char* name, const char* kind, std::string text)
    {
        auto node = std::make_unique<Node>();
        node->name = name ? name : "";
        node->kind = kind;
        node->text = std::move(text);
        Node& ref = *node;
        stack_.back()->children.push_back(std::move(node));
        return ref;
    }

    Node root_;
    std::vector<Node*> stack_;
    std::vector<const PropBase*> savedProps_;
};

bool allLeaves(const Node& node, const char* kind, size_t count)
{
    if (node.children.size() != count)
        return false;
    for (const auto& c : node.children)
        if (!c->children.empty() || c->kind != kind)
            return false;
    return true;
}

// The kind of a saved value and its text.
void describeValue(const Node& node, std::string& type, std::string& text)
{
    if (node.kind != "group")
    {
        type = node.kind;
        text = node.text;
        return;
    }
    static const char* const vectors[] = {nullptr, nullptr, "vec2", "vec3", "quat"};
    const size_t n = node.children.size();
    if (n >= 2 && n <= 4 && allLeaves(node, "float", n))
    {
        type = vectors[n];
        text = "(";
        for (size_t i = 0; i < n; ++i)
            text += (i ? ", " : "") + node.children[i]->text;
        text += ")";
        return;
    }
    if (allLeaves(node, "byte", 16))
    {
        static const char hex[] = "0123456789abcdef";
        type = "uuid";
        text.clear();
        for (size_t i = 0; i < 16; ++i)
        {
            if (i == 4 || i == 6 || i == 8 || i == 10)
                text += '-';
            const unsigned byte = std::stoul(node.children[i]->text);
            text += hex[byte >> 4];
            text += hex[byte & 15];
        }
        return;
    }
    if (n >= 1 && node.children[0]->kind == "bool" && n <= 2)
    {
        if (n == 1)
        {
            type = "optional";
            text = "none";
            return;
        }
        describeValue(*node.children[1], type, text);
        type = "optional " + type;
        return;
    }
    if (const Node* keys = node.child("num_keys"))
    {
        const bool curve = node.child("looped_back") != nullptr;
        type = curve ? "curve" : "path";
        text = keys->text + " keys";
        return;
    }
    type = "data";
    text = std::to_string(n) + " values";
}

bool isPropertyGroup(const Node& node)
{
    return node.kind == "group" && node.children.size() == 3 &&
           node.children[0]->name == "default" && node.children[1]->name == "override" &&
           node.children[2]->name == "external";
}

void collect(const Node& node, std::vector<PropertyDescription>& out)
{
    for (const auto& c : node.children)
    {
        if (isPropertyGroup(*c))
        {
            PropertyDescription d;
            d.key = c->name;
            describeValue(*c->children[0], d.type, d.defaultValue);
            const Node& over = *c->children[1];
            d.overridden = !over.children.empty() && over.children[0]->text == "true";
            if (d.overridden && over.children.size() > 1)
            {
                std::string type;
                describeValue(*over.children[1], type, d.overrideValue);
            }
            d.external = c->children[2]->text == "true";
            out.push_back(std::move(d));
        }
        else if (c->kind == "group")
        {
            collect(*c, out);
        }
    }
}

}  // namespace

std::vector<PropertyDescription> describeProperties(const Block& block)
{
    RecordingSaver recorder;
    {
        Sl::RevisionSaver saver(recorder);
        block.save(saver);
    }
    std::vector<PropertyDescription> props;
    collect(recorder.root(), props);
    // The i-th property record found is the one the i-th saved property wrote.
    const std::vector<const PropBase*>& saved = recorder.savedProps();
    DEBUG_ASSERT(saved.size() == props.size());
    for (size_t i = 0; i < props.size(); ++i)
        props[i].shared = saved[i]->isShared();
    return props;
}

}  // namespace Plm
