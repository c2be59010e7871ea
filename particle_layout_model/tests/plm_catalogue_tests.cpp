#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_description.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_stream_outline.h"

namespace
{

// Outlines of saved values (see StreamOutline).
const std::string F = "f", B = "b", C = "c", I = "i", H = "h", S = "s";
const std::string V2 = "(ff)", V3 = "(fff)", Q = "(ffff)";
const std::string U = "(" + std::string(16, 'c') + ")";

std::string group(uint32_t version, const std::string& content)
{
    return "(" + (version ? "v" + std::to_string(version) + " " : std::string()) + content + ")";
}
// A property without override: its default, the override group, the external flag.
std::string prop(const std::string& value) { return "(" + value + "(b)b)"; }
std::string props(std::initializer_list<std::string> values)
{
    std::string out;
    for (const std::string& v : values)
        out += prop(v);
    return out;
}
const std::string func = group(2, V2 + B + C);                // position, pinned, home force
const std::string path2 = group(0, I + V2 + B + V2 + B + C);  // two keys, one linear segment
const std::string path3 = group(0, I + V2 + B + V2 + B + C + V2 + B + C);
// An empty painted area: position, size, pixel counts and the image (binary).
const std::string area = group(0, "bjjiibiis");
// An expression's input: its name and its type.
const std::string input = group(0, prop(S) + prop(C));

struct Kind
{
    const char* name;
    std::string content;  // the outline of what the block saves in the revision layer
};

// Every kind of the catalogue, in its order, with the layout of its content.
const std::vector<Kind>& catalogue()
{
    static const std::vector<Kind> kinds = {
        {"func_lerp_float", func + group(0, props({F, F, F}))},
        {"func_lerp_vec2", func + group(0, props({V2, V2, F}))},
        {"func_lerp_vec3", func + group(0, props({V3, V3, F}))},
        {"func_direction_vec2", func + group(0, props({V2, V2, F}))},
        {"func_direction_vec3", func + group(0, props({V3, V3, F}))},
        {"func_distrib_float", func + group(0, props({F}))},
        {"func_distrib_vec2", func + group(0, props({F, F}))},
        {"func_distrib_vec3", func + group(0, props({F, F, F}))},
        {"func_split_vec2", func},
        {"func_split_vec3", func},
        {"func_conv2to3", func + group(0, props({F}))},
        {"func_axis_from_rotation", func + group(0, "")},
        {"func_rotation_axis", func + group(0, props({V3, F}))},
        {"func_rotation_from_axes", func + group(0, props({C, V3, V3}))},
        {"func_rot2vec", func + group(0, props({F, F}))},
        {"func_vec2rot", func + group(0, props({V2}))},
        {"func_random", func + group(0, props({F, F}))},
        {"func_random_vec", func + group(0, props({C, F}))},
        {"func_move", func + group(0, props({C, V3}))},
        {"func_force_move2", func + group(0, props({I, V2, I, F}))},
        {"func_force_move3", func + group(0, props({I, V3, I, F}))},
        {"func_noise", func + group(1, props({F, C, F, V3, V3, V3, B}))},
        {"func_transform", func + group(0, props({V2, F, F}) + B)},
        {"func_transform3", func + group(0, props({V3, Q, I}) + group(0, props({C, V3, Q})))},
        {"func_curves", func + group(0, props({I, group(0, B + B + I)}) + group(0, I))},
        {"func_area", func + group(1, props({area, I}) + group(0, I))},
        {"func_path", func + group(0, props({path3, I}))},
        {"func_expression", func + group(0, props({S, I}) + input + input + props({C, B}))},
        {"gen_periodic", group(1, props({B, F, B, I, F, F, I}))},
        {"gen_distance", group(0, props({F, F, I}))},
        {"term_less", group(0, props({F, F}))},
        {"term_path", group(0, props({path2, H}))},
        {"positioner", group(0, props({V3}))},
        {"construct_quads", group(1, props({B, C, S, V2, C, F, C, F, V2, V3, F, C, I, I}))},
        {"construct_strip", group(1, props({B, C, S, B, F, V3, F, F}))},
        {"param_lifetime", ""},
        {"param_user_float", group(1, props({S, B})) + group(1, props({F}))},
        {"param_user_vec2", group(1, props({S, B})) + group(1, props({V2}))},
        {"param_user_vec3", group(1, props({S, B})) + group(1, props({V3}))},
        {"param_user_quat", group(1, props({S, B})) + group(1, props({Q}))},
        {"param_position", group(1, props({S, B})) + group(1, props({V3})) + group(1, props({B}))},
        {"param_velocity",
         group(1, props({S, B})) + group(1, props({V3})) + group(0, props({B, B}))},
        {"param_user_updater", group(0, I + U)},
        {"param_emitter", group(0, props({"(b)", B, C}))},
        {"glob_emitter_pos", group(0, "")},
        {"glob_emitter_dir", group(0, "")},
        {"glob_emitter_rot", group(0, "")},
        {"glob_num_particles", group(0, "")},
        {"glob_time", group(0, "")},
        {"glob_system_time", group(0, "")},
        {"glob_param_float", group(0, props({U})) + group(0, props({S, F}))},
        {"glob_param_vec2", group(0, props({U})) + group(0, props({S, V2}))},
        {"glob_param_vec3", group(0, props({U})) + group(0, props({S, V3}))},
        {"glob_param_quat", group(0, props({U})) + group(0, props({S, Q}))},
    };
    return kinds;
}

std::unique_ptr<Plm::Block> createDefault(const std::string& name)
{
    return Plm::BlocksFactory::instance().createDefaultByName(CrcString(name));
}

// Puts a block into an emitter of an effect, where it builds its connectors.
struct Placed
{
    Plm::System system;
    Plm::Emitter* emitter = &system.addEmitter(std::make_unique<Plm::Emitter>("e"));
    Plm::Block& place(std::unique_ptr<Plm::Block> block)
    {
        return emitter->addBlock(std::move(block));
    }
};

std::vector<Plm::BlockConnectorDesc> connectors(const Plm::Block& block)
{
    std::vector<Plm::BlockConnectorDesc> out;
    for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
        out.push_back(block.getConnectorDesc(i));
    return out;
}

// One line per property: key, type, values and marks.
std::vector<std::string> describe(const Plm::Block& block)
{
    std::vector<std::string> lines;
    for (const Plm::PropertyDescription& p : Plm::describeProperties(block))
        lines.push_back(p.key + " " + p.type + " " + p.defaultValue + " " +
                        (p.overridden ? p.overrideValue : "-") + (p.shared ? " shared" : "") +
                        (p.external ? " external" : ""));
    return lines;
}

// Gives every property of a few common types a local value, and turns every external one
// into a constant and back, so that a round trip has overrides and flags to keep.
void editEveryProperty(Plm::Block& block)
{
    for (unsigned int i = 0; i < block.getNumProps(); ++i)
    {
        Plm::PropBase& base = block.getProp(i);
        if (auto* p = dynamic_cast<Plm::PropBaseTyped<float>*>(&base))
            p->set(p->get() + 0.5f);
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<glm::vec3>*>(&base))
            p->set(p->get() * 2.0f + glm::vec3(1.0f, 2.0f, 3.0f));
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<bool>*>(&base))
            p->set(!p->get());
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<std::string>*>(&base))
            p->set(p->get() + "~");
    }
    if (block.getNumProps() > 0)
        block.getProp(0).setExternal(!block.getProp(0).isExternal());
}

TEST(PlmCatalogue, FactoryKnowsEveryKindInOrder)
{
    std::vector<std::string> expected, actual;
    for (const Kind& kind : catalogue())
        expected.push_back(kind.name);
    for (const CrcString& name : Plm::BlocksFactory::instance().names())
        actual.push_back(name.str());
    EXPECT_EQ(actual, expected);

    for (const Kind& kind : catalogue())
    {
        std::unique_ptr<Plm::Block> block = createDefault(kind.name);
        ASSERT_TRUE(block) << kind.name;
        EXPECT_EQ(block->getFactoryName().str(), kind.name);
        std::unique_ptr<Plm::Block> forLoad =
            Plm::BlocksFactory::instance().createForLoadByName(CrcString(kind.name));
        ASSERT_TRUE(forLoad);
        EXPECT_EQ(forLoad->getFactoryName(), block->getFactoryName());
        // One character changed names nothing.
        std::string changed = kind.name;
        changed[changed.size() / 2] ^= 0x20;
        EXPECT_FALSE(createDefault(changed)) << changed;
        EXPECT_FALSE(Plm::BlocksFactory::instance().createForLoadByName(CrcString(changed)));
    }
}

TEST(PlmCatalogue, SavedLayoutOfEveryKind)
{
    // The identity in the main stream, then the recorded source revisions, then the content.
    const std::string head = S + "(" + U + "(b)" + U + U + U + "(b)(b)(b)";
    for (const Kind& kind : catalogue())
    {
        std::unique_ptr<Plm::Block> block = createDefault(kind.name);
        ASSERT_TRUE(block);
        EXPECT_EQ(StreamOutline(Plm::saveBlockPlain(*block)).outline(), head + kind.content + ")")
            << kind.name;
    }
}

TEST(PlmCatalogue, EveryKindRoundTrips)
{
    for (const Kind& kind : catalogue())
    {
        SCOPED_TRACE(kind.name);
        Placed original, loaded;
        Plm::Block& block = original.place(createDefault(kind.name));
        editEveryProperty(block);
        const std::vector<uint8_t> saved = Plm::saveBlockPlain(block);
        std::unique_ptr<Plm::Block> read = Plm::loadBlockPlain(saved.data(), saved.size());
        ASSERT_TRUE(read);
        // Identities, values, overrides and flags: what the two save is the same, byte for byte.
        EXPECT_EQ(Plm::saveBlockPlain(*read), saved);
        EXPECT_EQ(read->getId(), block.getId());
        EXPECT_EQ(read->getEmitterReflId(), block.getEmitterReflId());
        EXPECT_EQ(read->getSystemReflId(), block.getSystemReflId());
        EXPECT_EQ(read->getRevision(), block.getRevision());
        Plm::Block& copy = loaded.place(std::move(read));
        EXPECT_EQ(connectors(copy), connectors(block));

        // Every property is saved once, and the loaded ones match in kind and marks.
        const std::vector<Plm::PropertyDescription> described = Plm::describeProperties(block);
        EXPECT_EQ(described.size(), block.getNumProps());
        EXPECT_EQ(describe(copy), describe(block));
    }
}

TEST(PlmCatalogue, DamagedRecordsRaiseStreamErrorsOnly)
{
    for (const Kind& kind : catalogue())
    {
        SCOPED_TRACE(kind.name);
        std::unique_ptr<Plm::Block> block = createDefault(kind.name);
        const std::vector<uint8_t> bytes = Plm::saveBlockPlain(*block, Sl::TC_Off);
        // Every shortened record is refused.
        for (size_t n = 0; n < bytes.size(); ++n)
            EXPECT_THROW(Plm::loadBlockPlain(bytes.data(), n), Sl::Exception) << n;
        // Flipped bytes give a stream error or some block, never anything else.
        for (size_t n = 1; n < bytes.size(); ++n)
        {
            std::vector<uint8_t> damaged = bytes;
            damaged[n] ^= static_cast<uint8_t>(0x5a + n);
            try
            {
                std::unique_ptr<Plm::Block> loaded =
                    Plm::loadBlockPlain(damaged.data(), damaged.size());
                if (loaded)
                    Placed().place(std::move(loaded));
            }
            catch (const Sl::Exception&)
            {
            }
        }
    }
}

}  // namespace
