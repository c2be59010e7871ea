#include "particle_layout_model/plm_effect_text.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

// Numbers that aren't finite are written as NaN and Infinity (and read so).
#define RAPIDJSON_WRITE_DEFAULT_FLAGS rapidjson::kWriteNanAndInfFlag
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "particle_layout_model/plm_project_resource.h"
#include "plm_effect_text_stream.h"

namespace Plm
{

EffectJsonError::EffectJsonError(std::string path, const std::string& message)
    : std::runtime_error(path.empty() ? message : path + ": " + message),
      path_(std::move(path)),
      message_(message)
{
}

namespace
{

using namespace EffectText;
using rapidjson::Value;
using Allocator = rapidjson::Document::AllocatorType;

const char* const kFormat = "scintari-effect-json";
const unsigned kFormatVersion = 1;

const Node* child(const Node& group, const char* name)
{
    for (const Node& node : group.children)
        if (node.named && node.name == name)
            return &node;
    return nullptr;
}

bool isUuidGroup(const Node& group)
{
    if (group.kind != Node::K_Group || group.version != 0 || group.children.size() != 16)
        return false;
    return std::all_of(group.children.begin(), group.children.end(),
                       [](const Node& n) { return !n.named && n.type == Sl::T_Uint8; });
}

std::string uuidBytes(const Node& group)
{
    std::string bytes;
    for (const Node& n : group.children)
        bytes += static_cast<char>(n.u);
    return bytes;
}

// A counted list: a count named "num_...", then as many values of one name (or
// none). It shows as an array; the reader gets the array's length as the count.
bool isListGroup(const Node& group)
{
    if (group.kind != Node::K_Group || group.version != 0 || group.children.empty())
        return false;
    const Node& count = group.children.front();
    if (count.kind != Node::K_Uint || count.name.compare(0, 4, "num_") != 0 ||
        count.u != group.children.size() - 1)
        return false;
    if (group.children.size() == 1)
        return true;
    const Node& first = group.children[1];
    return std::all_of(group.children.begin() + 1, group.children.end(),
                       [&](const Node& n)
                       { return n.named == first.named && n.name == first.name; });
}

class Renderer
{
public:
    explicit Renderer(Allocator& allocator) : a_(allocator) {}

    Value render(const Node& node)
    {
        switch (node.kind)
        {
        case Node::K_Bool:
            return Value(node.b);
        case Node::K_Int:
            return Value(static_cast<int64_t>(node.i));
        case Node::K_Uint:
            return Value(static_cast<uint64_t>(node.u));
        case Node::K_Real:
            return Value(shortestReal(node.d, node.type == Sl::T_Float));
        case Node::K_Bytes:
            if (isUtf8(node.bytes))
                return Value(node.bytes.data(), static_cast<rapidjson::SizeType>(node.bytes.size()),
                             a_);
            else
            {
                Value wrapped(rapidjson::kObjectType);
                const std::string text = toBase64(node.bytes);
                wrapped.AddMember("base64", Value(text.c_str(), a_), a_);
                return wrapped;
            }
        case Node::K_Group:
            break;
        }
        if (isUuidGroup(node))
            return Value(uuidText(uuidBytes(node)).c_str(), a_);
        if (isListGroup(node))
        {
            Value items(rapidjson::kArrayType);
            for (size_t k = 1; k < node.children.size(); ++k)
                items.PushBack(render(node.children[k]), a_);
            return items;
        }
        if (node.named && node.name == "particle_system")
            return renderSystem(node);
        Value object(rapidjson::kObjectType);
        if (node.version)
            object.AddMember("$version", Value(node.version), a_);
        const std::vector<std::string> keys = keysOf(node, node.children.size());
        for (size_t k = 0; k < node.children.size(); ++k)
            add(object, keys[k], render(node.children[k]));
        return object;
    }

    // The keys of the first `count` values of a group: their names, with a few that the
    // model leaves unnamed given one, and made unique.
    static std::vector<std::string> keysOf(const Node& group, size_t count)
    {
        std::vector<std::string> keys;
        std::set<std::string> used{"$version"};
        const bool flagged = !group.children.empty() && group.children.size() <= 2 &&
                             group.children.front().kind == Node::K_Bool &&
                             std::none_of(group.children.begin(), group.children.end(),
                                          [](const Node& n) { return n.named; });
        int unnamedText = 0;
        for (size_t k = 0; k < count; ++k)
        {
            const Node& n = group.children[k];
            std::string key = n.named ? n.name : "_" + std::to_string(k);
            // The part of a guide's section or value that its type selects.
            if (!n.named && n.kind == Node::K_Group && k > 0 && group.children[k - 1].named &&
                group.children[k - 1].name == "type")
                key = "impl";
            if (flagged)
                key = k == 0 ? "set" : "value";
            else if (!n.named && group.name == "proj_res_system" && n.kind == Node::K_Bytes)
                key = unnamedText++ == 0 ? "comment" : "video_url";
            else if (group.name == "resource" && key == "proj_res_system")
                key = "effect";
            else if (group.name == "proj_res_system" && key == "particle_system")
                key = "system";
            else if (group.name == "particle_system" && key == "emitters")
                key = "emitter_order";
            else if (group.name == "particle_system" && key == "block_resources")
                key = "block_resource_order";
            if (used.count(key))
                key += "_" + std::to_string(k);
            used.insert(key);
            keys.push_back(key);
        }
        return keys;
    }

private:
    void add(Value& object, const std::string& key, Value value)
    {
        object.AddMember(Value(key.c_str(), a_), value, a_);
    }

    [[noreturn]] static void unexpected()
    {
        throw std::logic_error("effect text: the effect's record is not as expected");
    }

    // The effect's record with its emitters nested: each with its blocks and guide.
    Value renderSystem(const Node& system)
    {
        const std::vector<Node>& c = system.children;
        size_t k = 0;
        while (k < c.size() && c[k].name != "num_emitters")
            ++k;
        if (k == c.size())
            unexpected();
        Value object(rapidjson::kObjectType);
        if (system.version)
            object.AddMember("$version", Value(system.version), a_);
        const std::vector<std::string> keys = keysOf(system, k);
        for (size_t h = 0; h < k; ++h)
            add(object, keys[h], render(c[h]));

        auto at = [&](size_t index) -> const Node&
        {
            if (index >= c.size())
                unexpected();
            return c[index];
        };
        const uint64_t numEmitters = at(k++).u;
        std::vector<std::pair<std::string, const Node*>> emitters;
        for (uint64_t e = 0; e < numEmitters; ++e)
        {
            const Node& resource = at(k++);
            const Node* impl = child(resource, "system_resource_emitter");
            const Node* emitter = impl ? child(*impl, "emitter") : nullptr;
            const Node* id = emitter ? child(*emitter, "id") : nullptr;
            if (!id || !isUuidGroup(*id))
                unexpected();
            emitters.emplace_back(uuidBytes(*id), &resource);
        }
        const uint64_t numBlocks = at(k++).u;
        std::vector<const Node*> blockResources;
        std::map<std::string, std::vector<std::pair<const Node*, const Node*>>> blocksOf;
        for (uint64_t b = 0; b < numBlocks; ++b)
        {
            if (at(k++).b)
            {
                const std::string id = uuidBytes(at(k++));
                const Node& factory = at(k++);
                blocksOf[id].emplace_back(&factory, &at(k++));
            }
            else
                blockResources.push_back(&at(k++));
        }
        // The guides follow in the order of the emitters' ids.
        std::vector<std::string> sorted;
        for (const auto& e : emitters)
            sorted.push_back(e.first);
        std::sort(sorted.begin(), sorted.end());
        if (c.size() - k != sorted.size())
            unexpected();
        std::map<std::string, const Node*> guideOf;
        for (const std::string& id : sorted)
            guideOf[id] = &at(k++);

        // Emitters in the effect's order.
        std::vector<std::string> order;
        if (const Node* list = child(system, "emitters"))
            for (size_t i = 1; i < list->children.size(); ++i)
                order.push_back(uuidBytes(list->children[i]));
        for (const auto& e : emitters)
            if (std::find(order.begin(), order.end(), e.first) == order.end())
                order.push_back(e.first);
        Value list(rapidjson::kArrayType);
        for (const std::string& id : order)
        {
            auto it = std::find_if(emitters.begin(), emitters.end(),
                                   [&](const auto& e) { return e.first == id; });
            if (it == emitters.end())
                continue;
            Value record(rapidjson::kObjectType);
            record.AddMember("resource", render(*it->second), a_);
            Value blocks(rapidjson::kArrayType);
            for (const auto& block : blocksOf[id])
            {
                Value entry(rapidjson::kObjectType);
                entry.AddMember("factory_name", render(*block.first), a_);
                entry.AddMember("block", render(*block.second), a_);
                blocks.PushBack(entry, a_);
            }
            record.AddMember("blocks", blocks, a_);
            record.AddMember("guide", renderGuide(*guideOf[id]), a_);
            list.PushBack(record, a_);
        }
        object.AddMember("emitters", list, a_);
        Value resources(rapidjson::kArrayType);
        for (const Node* resource : blockResources)
            resources.PushBack(render(*resource), a_);
        object.AddMember("block_resources", resources, a_);
        return object;
    }

    // An emitter's guide. The model leaves the guide's body, its sections and its lists of
    // shared blocks unnamed: they are named here by their place.
    Value renderGuide(const Node& record)
    {
        // The body: its sections, its own blocks, the shared blocks it requested, and the
        // blocks it registered.
        static const char* const parts[] = {"custom_values",
                                            "generation",
                                            "termination",
                                            "position_start",
                                            "position_change",
                                            "rotation",
                                            "size",
                                            "transparency",
                                            "color",
                                            "tex_mapping",
                                            "life_time_block",
                                            "positioner_block",
                                            "construct_block",
                                            "emitter_velocity",
                                            "emitter_position",
                                            "emitter_rotation",
                                            "emitter_time",
                                            "system_time",
                                            "registered"};
        const size_t numParts = sizeof(parts) / sizeof(parts[0]);
        Value object(rapidjson::kObjectType);
        if (record.version)
            object.AddMember("$version", Value(record.version), a_);
        const std::vector<std::string> keys = keysOf(record, record.children.size());
        for (size_t k = 0; k < record.children.size(); ++k)
        {
            const Node& body = record.children[k];
            if (body.named || body.kind != Node::K_Group)
            {
                add(object, keys[k], render(body));
                continue;
            }
            Value content(rapidjson::kObjectType);
            if (body.version)
                content.AddMember("$version", Value(body.version), a_);
            const std::vector<std::string> generic = keysOf(body, body.children.size());
            std::set<std::string> used{"$version"};
            for (size_t c = 0; c < body.children.size(); ++c)
            {
                std::string key = c < numParts ? parts[c] : generic[c];
                if (used.count(key))
                    key += "_" + std::to_string(c);
                used.insert(key);
                add(content, key, render(body.children[c]));
            }
            add(object, keys[k] == "_" + std::to_string(k) ? "content" : keys[k],
                std::move(content));
        }
        return object;
    }

    Allocator& a_;
};

void dumpToDocument(const ProjectResourceSystem& resource, rapidjson::Document& doc)
{
    const Node root = EffectText::captureRecord(resource);
    if (root.children.size() != 1 || root.children.front().kind != Node::K_Group)
        throw std::logic_error("effect text: the effect wrote no single record");
    doc.SetObject();
    Allocator& a = doc.GetAllocator();
    doc.AddMember("format", Value(kFormat, a), a);
    doc.AddMember("format_version", Value(kFormatVersion), a);
    Renderer renderer(a);
    const Node& record = root.children.front();
    Value body = renderer.render(record);
    for (auto& member : body.GetObject())
        doc.AddMember(member.name, member.value, a);
}

std::string writeDocument(const rapidjson::Document& doc)
{
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    doc.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

// The load: JSON back to the values of the stream.

[[noreturn]] void refuse(const std::string& path, const std::string& message)
{
    throw EffectJsonError(path, message);
}

const char* kindName(const Value& value)
{
    if (value.IsObject())
        return "an object";
    if (value.IsArray())
        return "an array";
    if (value.IsString())
        return "a string";
    if (value.IsBool())
        return "a boolean";
    if (value.IsNumber())
        return "a number";
    return "null";
}

Node toNode(const Value& value, const std::string& path);

const Value& member(const Value& object, const char* key, const std::string& path)
{
    if (!object.IsObject())
        refuse(path, std::string("expected an object, found ") + kindName(object));
    auto it = object.FindMember(key);
    if (it == object.MemberEnd())
        refuse(memberPath(path, key), "member missing");
    return it->value;
}

const Value& arrayMember(const Value& object, const char* key, const std::string& path)
{
    const Value& value = member(object, key, path);
    if (!value.IsArray())
        refuse(memberPath(path, key), std::string("expected an array, found ") + kindName(value));
    return value;
}

// The effect's record from its nested form: the flat order in which the effect reads it.
Node unnestSystem(const Value& object, const std::string& path)
{
    Node system;
    system.path = path;
    for (auto it = object.MemberBegin(); it != object.MemberEnd(); ++it)
    {
        const std::string key(it->name.GetString(), it->name.GetStringLength());
        if (key == "emitters")
            break;
        if (key == "$version")
        {
            if (!it->value.IsUint())
                refuse(memberPath(path, key), "expected a version number");
            system.version = it->value.GetUint();
            continue;
        }
        system.children.push_back(toNode(it->value, memberPath(path, key)));
        system.children.back().name = key;
    }
    const Value& emitters = arrayMember(object, "emitters", path);
    const Value& resources = arrayMember(object, "block_resources", path);
    const std::string emittersPath = memberPath(path, "emitters");
    const std::string resourcesPath = memberPath(path, "block_resources");

    Node count = leaf(Node::K_Uint, emittersPath);
    count.u = emitters.Size();
    system.children.push_back(count);
    size_t numBlocks = resources.Size();
    std::vector<std::pair<std::string, Node>> guides;
    std::vector<Node> blockEntries;
    for (rapidjson::SizeType e = 0; e < emitters.Size(); ++e)
    {
        const std::string recordPath = itemPath(emittersPath, e);
        const Value& record = emitters[e];
        const std::string resourcePath = memberPath(recordPath, "resource");
        const Value& resource = member(record, "resource", recordPath);
        system.children.push_back(toNode(resource, resourcePath));
        const std::string implPath = memberPath(resourcePath, "system_resource_emitter");
        const Value& impl = member(resource, "system_resource_emitter", resourcePath);
        const std::string emitterPath = memberPath(implPath, "emitter");
        const Value& emitter = member(impl, "emitter", implPath);
        const std::string idPath = memberPath(emitterPath, "id");
        const Value& id = member(emitter, "id", emitterPath);
        std::string idBytes;
        if (!id.IsString() || !parseUuid(id.GetString(), idBytes))
            refuse(idPath, "expected an identity (xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx)");
        const Value& blocks = arrayMember(record, "blocks", recordPath);
        const std::string blocksPath = memberPath(recordPath, "blocks");
        for (rapidjson::SizeType b = 0; b < blocks.Size(); ++b)
        {
            const std::string blockPath = itemPath(blocksPath, b);
            Node inside = leaf(Node::K_Bool, blockPath);
            inside.b = true;
            blockEntries.push_back(inside);
            blockEntries.push_back(toNode(id, idPath));
            blockEntries.push_back(toNode(member(blocks[b], "factory_name", blockPath),
                                          memberPath(blockPath, "factory_name")));
            blockEntries.push_back(
                toNode(member(blocks[b], "block", blockPath), memberPath(blockPath, "block")));
        }
        numBlocks += blocks.Size();
        guides.emplace_back(
            idBytes, toNode(member(record, "guide", recordPath), memberPath(recordPath, "guide")));
    }
    Node blockCount = leaf(Node::K_Uint, emittersPath);
    blockCount.u = numBlocks;
    system.children.push_back(blockCount);
    for (rapidjson::SizeType r = 0; r < resources.Size(); ++r)
    {
        const std::string resourcePath = itemPath(resourcesPath, r);
        Node inside = leaf(Node::K_Bool, resourcePath);
        inside.b = false;
        system.children.push_back(inside);
        system.children.push_back(toNode(resources[r], resourcePath));
    }
    for (Node& entry : blockEntries)
        system.children.push_back(std::move(entry));
    std::stable_sort(guides.begin(), guides.end(),
                     [](const auto& x, const auto& y) { return x.first < y.first; });
    for (auto& guide : guides)
        system.children.push_back(std::move(guide.second));
    return system;
}

Node toNode(const Value& value, const std::string& path)
{
    Node node;
    node.path = path;
    if (value.IsBool())
    {
        node.kind = Node::K_Bool;
        node.b = value.GetBool();
    }
    else if (value.IsUint64())
    {
        node.kind = Node::K_Uint;
        node.u = value.GetUint64();
    }
    else if (value.IsInt64())
    {
        node.kind = Node::K_Int;
        node.i = value.GetInt64();
    }
    else if (value.IsNumber())
    {
        node.kind = Node::K_Real;
        node.d = value.GetDouble();
    }
    else if (value.IsString())
    {
        node.kind = Node::K_Bytes;
        node.text = true;
        node.bytes.assign(value.GetString(), value.GetStringLength());
    }
    else if (value.IsArray())
    {
        node.list = true;
        for (rapidjson::SizeType k = 0; k < value.Size(); ++k)
            node.children.push_back(toNode(value[k], itemPath(path, k)));
    }
    else if (value.IsObject())
    {
        if (path == "effect.system")
            return unnestSystem(value, path);
        for (auto it = value.MemberBegin(); it != value.MemberEnd(); ++it)
        {
            const std::string key(it->name.GetString(), it->name.GetStringLength());
            if (key == "$version")
            {
                if (!it->value.IsUint())
                    refuse(memberPath(path, key), "expected a version number");
                node.version = it->value.GetUint();
                continue;
            }
            node.children.push_back(toNode(it->value, memberPath(path, key)));
            node.children.back().name = key;
            node.children.back().named = true;
        }
    }
    else
        refuse(path, "null is no value of an effect");
    return node;
}

std::string keyOf(const rapidjson::Value::ConstMemberIterator& it)
{
    return std::string(it->name.GetString(), it->name.GetStringLength());
}

// The text must have the members the effect writes back, in the same order: a member that
// the positional reading took for another is named here.
void compareShape(const Value& given, const Value& expected, const std::string& path)
{
    if (expected.IsObject())
    {
        if (!given.IsObject())
            refuse(path, std::string("expected an object, found ") + kindName(given));
        auto g = given.MemberBegin();
        auto e = expected.MemberBegin();
        for (; g != given.MemberEnd() && e != expected.MemberEnd(); ++g, ++e)
        {
            if (keyOf(g) != keyOf(e))
                refuse(memberPath(path, keyOf(g)), "member \"" + keyOf(e) + "\" expected here");
            compareShape(g->value, e->value, memberPath(path, keyOf(g)));
        }
        if (g != given.MemberEnd())
            refuse(memberPath(path, keyOf(g)), "unexpected member");
        if (e != expected.MemberEnd())
            refuse(memberPath(path, keyOf(e)), "member missing");
    }
    else if (expected.IsArray())
    {
        if (!given.IsArray())
            refuse(path, std::string("expected an array, found ") + kindName(given));
        if (given.Size() != expected.Size())
            refuse(path, "the effect reads back " + std::to_string(expected.Size()) +
                             " items, not " + std::to_string(given.Size()));
        for (rapidjson::SizeType k = 0; k < given.Size(); ++k)
            compareShape(given[k], expected[k], itemPath(path, k));
    }
}

std::string position(const std::string& text, size_t offset)
{
    size_t line = 1, column = 1;
    for (size_t k = 0; k < offset && k < text.size(); ++k)
    {
        if (text[k] == '\n')
            ++line, column = 1;
        else
            ++column;
    }
    return "line " + std::to_string(line) + " column " + std::to_string(column);
}

}  // namespace

std::string dumpEffectJson(const ProjectResourceSystem& resource)
{
    rapidjson::Document doc;
    dumpToDocument(resource, doc);
    return writeDocument(doc);
}

std::unique_ptr<ProjectResourceSystem> loadEffectJson(const std::string& text)
{
    rapidjson::Document doc;
    doc.Parse<rapidjson::kParseFullPrecisionFlag | rapidjson::kParseNanAndInfFlag |
              rapidjson::kParseValidateEncodingFlag>(text.data(), text.size());
    if (doc.HasParseError())
        refuse("", std::string("not JSON at ") + position(text, doc.GetErrorOffset()) + ": " +
                       rapidjson::GetParseError_En(doc.GetParseError()));
    if (!doc.IsObject())
        refuse("", std::string("expected an object, found ") + kindName(doc));
    const Value& format = member(doc, "format", "");
    if (!format.IsString() || std::string(format.GetString()) != kFormat)
        refuse("format", std::string("expected \"") + kFormat + "\"");
    const Value& version = member(doc, "format_version", "");
    if (!version.IsUint() || version.GetUint() != kFormatVersion)
        refuse("format_version", "expected " + std::to_string(kFormatVersion));

    // The resource's record: the members after the two of the format.
    Node root;
    Node record;
    record.path = "";
    for (auto it = doc.MemberBegin(); it != doc.MemberEnd(); ++it)
    {
        const std::string key = keyOf(it);
        if (key == "format" || key == "format_version")
            continue;
        record.children.push_back(toNode(it->value, key));
        record.children.back().name = key;
        record.children.back().named = true;
    }
    root.children.push_back(std::move(record));

    std::unique_ptr<ProjectResource> resource = EffectText::loadRecord(root);
    std::unique_ptr<ProjectResourceSystem> system(resource.release()->castToSystemResource());

    rapidjson::Document back;
    dumpToDocument(*system, back);
    compareShape(doc, back, "");
    return system;
}

}  // namespace Plm
