#include "plm_effect_text_stream.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <limits>
#include <stdexcept>

#include <boost/optional/optional.hpp>

#include "particle_layout_model/plm_project_resource.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"

namespace Plm
{
namespace EffectText
{

// Text forms.

bool isUtf8(const std::string& s)
{
    size_t i = 0;
    while (i < s.size())
    {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        size_t extra = 0;
        uint32_t cp = 0;
        if (c < 0x80)
        {
            ++i;
            continue;
        }
        if ((c & 0xE0) == 0xC0)
            extra = 1, cp = c & 0x1F;
        else if ((c & 0xF0) == 0xE0)
            extra = 2, cp = c & 0x0F;
        else if ((c & 0xF8) == 0xF0)
            extra = 3, cp = c & 0x07;
        else
            return false;
        if (i + extra >= s.size())
            return false;
        for (size_t k = 1; k <= extra; ++k)
        {
            const unsigned char cc = static_cast<unsigned char>(s[i + k]);
            if ((cc & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (cc & 0x3F);
        }
        static const uint32_t minimum[4] = {0, 0x80, 0x800, 0x10000};
        if (cp < minimum[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += extra + 1;
    }
    return true;
}

const char* const kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string toBase64(const std::string& in)
{
    std::string out;
    size_t i = 0;
    for (; i + 2 < in.size(); i += 3)
    {
        const uint32_t v = (uint8_t(in[i]) << 16) | (uint8_t(in[i + 1]) << 8) | uint8_t(in[i + 2]);
        for (int s = 18; s >= 0; s -= 6)
            out += kBase64[(v >> s) & 63];
    }
    if (i + 1 == in.size())
    {
        const uint32_t v = uint8_t(in[i]) << 16;
        out += kBase64[(v >> 18) & 63];
        out += kBase64[(v >> 12) & 63];
        out += "==";
    }
    else if (i + 2 == in.size())
    {
        const uint32_t v = (uint8_t(in[i]) << 16) | (uint8_t(in[i + 1]) << 8);
        out += kBase64[(v >> 18) & 63];
        out += kBase64[(v >> 12) & 63];
        out += kBase64[(v >> 6) & 63];
        out += '=';
    }
    return out;
}

bool fromBase64(const std::string& in, std::string& out)
{
    if (in.size() % 4)
        return false;
    out.clear();
    for (size_t i = 0; i < in.size(); i += 4)
    {
        uint32_t v = 0;
        int pad = 0;
        for (size_t k = 0; k < 4; ++k)
        {
            const char c = in[i + k];
            const char* p = c ? std::strchr(kBase64, c) : nullptr;
            if (c == '=' && i + 4 == in.size() && k >= 2)
            {
                ++pad;
                v <<= 6;
                continue;
            }
            if (!p || pad)
                return false;
            v = (v << 6) | static_cast<uint32_t>(p - kBase64);
        }
        out += static_cast<char>((v >> 16) & 0xFF);
        if (pad < 2)
            out += static_cast<char>((v >> 8) & 0xFF);
        if (pad < 1)
            out += static_cast<char>(v & 0xFF);
    }
    return true;
}

std::string uuidText(const std::string& bytes)
{
    static const char* const hex = "0123456789abcdef";
    std::string out;
    for (size_t k = 0; k < 16; ++k)
    {
        if (k == 4 || k == 6 || k == 8 || k == 10)
            out += '-';
        out += hex[uint8_t(bytes[k]) >> 4];
        out += hex[uint8_t(bytes[k]) & 15];
    }
    return out;
}

bool parseUuid(const std::string& text, std::string& bytes)
{
    if (text.size() != 36)
        return false;
    bytes.clear();
    for (size_t p = 0; p < 36;)
    {
        if (p == 8 || p == 13 || p == 18 || p == 23)
        {
            if (text[p++] != '-')
                return false;
            continue;
        }
        int v = 0;
        for (int k = 0; k < 2; ++k)
        {
            const char c = text[p++];
            int h = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
            if (h < 0)
                return false;
            v = v * 16 + h;
        }
        bytes += static_cast<char>(v);
    }
    return true;
}

// The shortest decimal that reads back to the same float (or double), as the double the
// JSON holds; the writer then prints it short.
double shortestReal(double value, bool single)
{
    if (!std::isfinite(value) || value == 0)
        return value;
    char text[40];
    for (int precision = 1; precision <= (single ? 9 : 17); ++precision)
    {
        std::snprintf(text, sizeof text, "%.*g", precision, value);
        const double back = std::strtod(text, nullptr);
        if (single ? static_cast<float>(back) == static_cast<float>(value) : back == value)
            return back;
    }
    return value;
}

namespace
{

[[noreturn]] void refuse(const std::string& path, const std::string& message)
{
    throw EffectJsonError(path, message);
}

// The dump: a saver that keeps every value with its name and type.

class TreeSaver final : public Sl::Saver
{
public:
    TreeSaver() { stack_.push_back(&root_); }
    Node& root() { return root_; }

    void startGroup(const char* name, uint32_t version) override
    {
        Node& node = add(name, Node::K_Group, Sl::T_Group);
        node.version = version;
        stack_.push_back(&node);
    }
    void write(const char* name, bool value) override
    {
        add(name, Node::K_Bool, Sl::T_Bool).b = value;
    }
    void write(const char* name, int8_t value) override
    {
        add(name, Node::K_Int, Sl::T_Int8).i = value;
    }
    void write(const char* name, uint8_t value) override
    {
        add(name, Node::K_Uint, Sl::T_Uint8).u = value;
    }
    void write(const char* name, int16_t value, Sl::EnumPackedHint hint) override
    {
        add(name, Node::K_Int, hint == Sl::PH_Packed ? Sl::T_Int16Packed : Sl::T_Int16Fixed).i =
            value;
    }
    void write(const char* name, uint16_t value, Sl::EnumPackedHint hint) override
    {
        add(name, Node::K_Uint, hint == Sl::PH_Packed ? Sl::T_Uint16Packed : Sl::T_Uint16Fixed).u =
            value;
    }
    void write(const char* name, int32_t value, Sl::EnumPackedHint hint) override
    {
        add(name, Node::K_Int, hint == Sl::PH_Packed ? Sl::T_Int32Packed : Sl::T_Int32Fixed).i =
            value;
    }
    void write(const char* name, uint32_t value, Sl::EnumPackedHint hint) override
    {
        add(name, Node::K_Uint, hint == Sl::PH_Packed ? Sl::T_Uint32Packed : Sl::T_Uint32Fixed).u =
            value;
    }
    void write(const char* name, int64_t value, Sl::EnumPackedHint hint) override
    {
        add(name, Node::K_Int, hint == Sl::PH_Packed ? Sl::T_Int64Packed : Sl::T_Int64Fixed).i =
            value;
    }
    void write(const char* name, uint64_t value, Sl::EnumPackedHint hint) override
    {
        add(name, Node::K_Uint, hint == Sl::PH_Packed ? Sl::T_Uint64Packed : Sl::T_Uint64Fixed).u =
            value;
    }
    void write(const char* name, float value) override
    {
        add(name, Node::K_Real, Sl::T_Float).d = value;
    }
    void write(const char* name, double value) override
    {
        add(name, Node::K_Real, Sl::T_Double).d = value;
    }
    void writeBinary(const char* name, const uint8_t* data, uint32_t size) override
    {
        add(name, Node::K_Bytes, Sl::T_Binary)
            .bytes.assign(reinterpret_cast<const char*>(data), size);
    }
    void endGroup() override
    {
        if (stack_.size() <= 1)
            throw std::logic_error("effect text: a group closed twice");
        stack_.pop_back();
    }

private:
    Node& add(const char* name, Node::Kind kind, Sl::EnumType type)
    {
        // Only the innermost open group grows, so the pointers to the open ones stay valid.
        std::vector<Node>& siblings = stack_.back()->children;
        siblings.emplace_back();
        Node& node = siblings.back();
        node.kind = kind;
        node.type = type;
        node.named = name != nullptr;
        if (name)
            node.name = name;
        return node;
    }

    Node root_;
    std::vector<Node*> stack_;
};

// Serves the values to the model's own reader, in the order it reads them; every read is
// checked against what stands in the JSON, and a failure names the member.
class TreeLoader final : public Sl::Loader
{
public:
    explicit TreeLoader(const Node& root)
    {
        frames_.emplace_back();
        frames_.back().node = &root;
        budget_ = measure(root);
    }

    const boost::optional<EffectJsonError>& error() const { return error_; }
    const std::string& lastPath() const { return lastPath_; }

    // After the model has read its record: nothing may be left over.
    void finish()
    {
        Frame& frame = frames_.back();
        if (frames_.size() != 1)
            fail(frame.node->path, "the record isn't complete");
        if (frame.next < frame.node->children.size())
            fail(frame.node->children[frame.next].path, "unexpected member");
    }

    uint32_t startGroup(uint32_t maxVersion) override
    {
        const Node& node = next("an object");
        Frame frame;
        frame.node = &node;
        if (node.kind == Node::K_Bytes && node.text)
        {
            // An identity: the model reads its 16 bytes as a group.
            std::string bytes;
            if (!parseUuid(node.bytes, bytes))
                fail(node.path, node.bytes.size() == 36
                                    ? "expected an identity (xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx)"
                                    : "expected an object or an identity, found a string");
            for (char c : bytes)
            {
                Node byte = leaf(Node::K_Uint, node.path);
                byte.implied = false;
                byte.u = static_cast<uint8_t>(c);
                frame.synthetic.push_back(byte);
            }
            frames_.push_back(std::move(frame));
            return 0;
        }
        if (node.kind != Node::K_Group)
            mismatch(node, "an object");
        if (node.version > maxVersion)
            fail(node.path, "version " + std::to_string(node.version) +
                                " is newer than this program reads (" + std::to_string(maxVersion) +
                                ")");
        frame.countPending = node.list;
        frames_.push_back(std::move(frame));
        return node.version;
    }

    void read(bool& value) override
    {
        const Node& node = next("a boolean");
        if (node.kind != Node::K_Bool)
            mismatch(node, "a boolean");
        value = node.b;
    }
    void read(int8_t& value) override { readInteger(value); }
    void read(uint8_t& value) override { readInteger(value); }
    void read(int16_t& value, Sl::EnumPackedHint) override { readInteger(value); }
    void read(uint16_t& value, Sl::EnumPackedHint) override { readInteger(value); }
    void read(int32_t& value, Sl::EnumPackedHint) override { readInteger(value); }
    void read(uint32_t& value, Sl::EnumPackedHint) override { readInteger(value); }
    void read(int64_t& value, Sl::EnumPackedHint) override { readInteger(value); }
    void read(uint64_t& value, Sl::EnumPackedHint) override { readInteger(value); }
    void read(float& value) override
    {
        const double d = readReal();
        if (std::isfinite(d) && std::fabs(d) > std::numeric_limits<float>::max())
            fail(lastPath_, "the number is too large");
        value = static_cast<float>(d);
    }
    void read(double& value) override { value = readReal(); }

    uint32_t readBinarySize() override
    {
        const Node& node = next("a string");
        if (node.kind == Node::K_Bytes)
            pending_ = node.bytes;
        else if (node.kind == Node::K_Group && !node.list && node.children.size() == 1 &&
                 node.children.front().name == "base64" && node.children.front().text)
        {
            if (!fromBase64(node.children.front().bytes, pending_))
                fail(node.children.front().path, "not base64");
        }
        else
            mismatch(node, "a string");
        if (pending_.size() > std::numeric_limits<uint32_t>::max())
            fail(node.path, "the string is too long");
        sizeRead_ = true;
        return static_cast<uint32_t>(pending_.size());
    }
    void readBinaryData(uint8_t* data) override
    {
        if (!sizeRead_)
            readBinarySize();
        sizeRead_ = false;
        std::copy(pending_.begin(), pending_.end(), data);
    }
    void readBinary(Sl::BinarySink& sink) override
    {
        const uint32_t size = readBinarySize();
        sizeRead_ = false;
        sink.reserve(size);
        sink.append(reinterpret_cast<const uint8_t*>(pending_.data()), size);
    }

    void endGroup() override
    {
        if (frames_.size() <= 1)
            throw std::logic_error("effect text: a group closed twice");
        // Closed while the model gives up on a failure of its own: that failure counts.
        if (std::uncaught_exceptions() > exceptionsAtStart_)
        {
            frames_.pop_back();
            return;
        }
        Frame& frame = frames_.back();
        const std::vector<Node>& values = frame.values();
        if (frame.countPending)
            fail(frame.node->path, "the effect reads no list here");
        if (frame.next < values.size())
            fail(values[frame.next].path, "unexpected member");
        frames_.pop_back();
    }

    void skipGroup() override { next("an object"); }
    void skipBool() override
    {
        bool v;
        read(v);
    }
    void skipInt8() override { skipInteger<int8_t>(); }
    void skipUint8() override { skipInteger<uint8_t>(); }
    void skipInt16(Sl::EnumPackedHint) override { skipInteger<int16_t>(); }
    void skipUint16(Sl::EnumPackedHint) override { skipInteger<uint16_t>(); }
    void skipInt32(Sl::EnumPackedHint) override { skipInteger<int32_t>(); }
    void skipUint32(Sl::EnumPackedHint) override { skipInteger<uint32_t>(); }
    void skipInt64(Sl::EnumPackedHint) override { skipInteger<int64_t>(); }
    void skipUint64(Sl::EnumPackedHint) override { skipInteger<uint64_t>(); }
    void skipFloat() override { readReal(); }
    void skipDouble() override { readReal(); }
    void skipBinary() override
    {
        readBinarySize();
        sizeRead_ = false;
    }

    // Every value of the stream takes at least one byte: a count beyond the values that the
    // JSON holds can't be right.
    uint64_t maxDataLeft() const override { return budget_; }

private:
    struct Frame
    {
        const Node* node = nullptr;
        std::vector<Node> synthetic;
        size_t next = 0;
        bool countPending = false;
        const std::vector<Node>& values() const
        {
            return synthetic.empty() ? node->children : synthetic;
        }
    };

    static uint64_t measure(const Node& node)
    {
        uint64_t total = 16 + node.bytes.size();
        for (const Node& c : node.children)
            total += measure(c);
        return total;
    }

    [[noreturn]] void fail(const std::string& path, const std::string& message)
    {
        if (!error_)
            error_ = EffectJsonError(path, message);
        throw *error_;
    }

    const Node& next(const char* what)
    {
        Frame& frame = frames_.back();
        if (frame.countPending)
            fail(frame.node->path, std::string("expected ") + what + ", found an array");
        const std::vector<Node>& values = frame.values();
        if (frame.next >= values.size())
            fail(frame.node->path,
                 std::string("member missing: ") + what + " is read after " +
                     (values.empty() ? "nothing" : "\"" + lastKey(values.back()) + "\""));
        const Node& node = values[frame.next++];
        lastPath_ = node.path;
        return node;
    }

    // A value of another kind than the model reads. Where the value is one that the nested
    // form implies (a count, a flag), what the text lacks is a member before it.
    [[noreturn]] void mismatch(const Node& node, const char* expected)
    {
        if (node.implied)
            fail(node.path, std::string("a member is missing before this one (the effect reads ") +
                                expected + " there)");
        fail(node.path, std::string("expected ") + expected + ", found " + found(node));
    }

    static const char* found(const Node& node)
    {
        switch (node.kind)
        {
        case Node::K_Group:
            return node.list ? "an array" : "an object";
        case Node::K_Bool:
            return "a boolean";
        case Node::K_Bytes:
            return node.text ? "a string" : "an object of base64";
        default:
            return "a number";
        }
    }

    static std::string lastKey(const Node& node)
    {
        const size_t dot = node.path.find_last_of(".[");
        return dot == std::string::npos ? node.path : node.path.substr(dot + 1);
    }

    template <class T>
    void readInteger(T& value)
    {
        Frame& frame = frames_.back();
        if (frame.countPending)
        {
            // The count of a list is the length of its array.
            frame.countPending = false;
            const size_t count = frame.node->children.size();
            if (count > static_cast<uint64_t>(std::numeric_limits<T>::max()))
                fail(frame.node->path, "too many items");
            value = static_cast<T>(count);
            lastPath_ = frame.node->path;
            return;
        }
        const Node& node = next("an integer");
        if (node.kind == Node::K_Uint &&
            node.u <= static_cast<uint64_t>(std::numeric_limits<T>::max()))
            value = static_cast<T>(node.u);
        else if (node.kind == Node::K_Int && std::numeric_limits<T>::is_signed &&
                 node.i >= static_cast<int64_t>(std::numeric_limits<T>::min()))
            value = static_cast<T>(node.i);
        else if (node.kind == Node::K_Uint || node.kind == Node::K_Int)
            fail(node.path,
                 "the integer is out of range (" +
                     std::to_string(static_cast<int64_t>(std::numeric_limits<T>::min())) + " to " +
                     std::to_string(std::numeric_limits<T>::max()) + ")");
        else
            mismatch(node, "an integer");
    }

    template <class T>
    void skipInteger()
    {
        T value;
        readInteger(value);
    }

    double readReal()
    {
        const Node& node = next("a number");
        switch (node.kind)
        {
        case Node::K_Real:
            return node.d;
        case Node::K_Uint:
            return static_cast<double>(node.u);
        case Node::K_Int:
            return static_cast<double>(node.i);
        default:
            mismatch(node, "a number");
        }
    }

    std::deque<Frame> frames_;
    std::string pending_;
    bool sizeRead_ = false;
    std::string lastPath_;
    uint64_t budget_ = 0;
    boost::optional<EffectJsonError> error_;
    const int exceptionsAtStart_ = std::uncaught_exceptions();
};

}  // namespace

Node captureRecord(const ProjectResource& resource)
{
    TreeSaver tree;
    {
        Sl::RevisionSaver saver(tree);
        resource.save(saver);
    }
    return std::move(tree.root());
}

std::unique_ptr<ProjectResource> loadRecord(const Node& root)
{
    TreeLoader tree(root);
    std::unique_ptr<ProjectResource> resource;
    try
    {
        Sl::RevisionLoader loader(nullptr, tree);
        resource = ProjectResource::createFromLoader(loader);
        tree.finish();
        if (tree.error())
            throw *tree.error();
        if (!resource->castToSystemResource())
            refuse("type", "the text holds no effect");
        resource->postLoad();
    }
    catch (const std::exception& error)
    {
        if (tree.error())
            throw *tree.error();
        if (const auto* own = dynamic_cast<const EffectJsonError*>(&error))
            throw *own;
        refuse(tree.lastPath(),
               std::string("the effect can't take this value (") + error.what() + ")");
    }
    return resource;
}

}  // namespace EffectText
}  // namespace Plm
