// Random valid expressions over floats and vectors: the JavaScript text they
// translate to, run by Node.js against small stand-ins for the "ctx." helpers,
// gives the numbers the executor gives for the byte code of the same text.
//
// Node computes in double and the executor in float, so numbers are compared
// within a tolerance; the generator keeps magnitudes small, guards divisions
// and normalisations away from zero, and gives round, floor, ceil and sign only
// arguments that both compute exactly. Two things of the language are left out
// on purpose because the translated text differs from the byte code there: a
// unary minus before a longer operand (written "(-(x))" here), and a float
// divided by a vector, which the translation hands to the same helper as a
// vector divided by a float.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "expr_test_util.h"
#include "expr_translator_test_util.h"
#include "expression/expr2js.h"

using Expr::VT_Float;
using Expr::VT_Vec2;
using Expr::VT_Vec3;

namespace
{

// The first executable "node" or "nodejs" on PATH; empty when there is none.
std::string findNode()
{
    const char* path = std::getenv("PATH");
    std::stringstream dirs(path ? path : "");
    std::string dir;
    while (std::getline(dirs, dir, ':'))
        for (const char* name : {"node", "nodejs"})
        {
            const std::string candidate = (dir.empty() ? "." : dir) + "/" + name;
            if (::access(candidate.c_str(), X_OK) == 0)
                return candidate;
        }
    return "";
}

// A generated expression: its text, and whether it is a binary operation of
// priority 0 ("*", "/") or 1 ("+", "-") for the placement of parentheses.
struct Node
{
    std::string text;
    int priority = -1;  // -1: a factor, no parentheses needed
};

class Generator
{
public:
    explicit Generator(unsigned seed) : rng_(seed) {}

    Node make(Expr::EnumValueType type, int depth)
    {
        if (depth <= 0 || pick(4) == 0)
            return leaf(type);
        switch (type)
        {
        case VT_Float:
            return makeFloat(depth - 1);
        case VT_Vec2:
            return makeVector(VT_Vec2, depth - 1);
        default:
            return makeVector(VT_Vec3, depth - 1);
        }
    }

    std::string space() { return pick(3) == 0 ? "" : " "; }

private:
    unsigned pick(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(rng_); }

    Node leaf(Expr::EnumValueType type)
    {
        static const char* const floats[] = {"a", "b", "dt", "0.5", "1", "1.5", "2", "3", "0.25"};
        static const char* const vec2s[] = {"u"};
        static const char* const vec3s[] = {"v", "w"};
        if (type == VT_Float)
            return {floats[pick(9)]};
        if (type == VT_Vec2)
            return {vec2s[0]};
        return {vec3s[pick(2)]};
    }

    Node call(const std::string& name, const std::vector<Node>& args)
    {
        std::string text = name + "(";
        for (std::size_t i = 0; i < args.size(); ++i)
            text += (i ? "," + space() : "") + args[i].text;
        return {text + ")"};
    }

    // left op right with the parentheses that the priorities need.
    Node binary(const Node& left, char op, const Node& right)
    {
        const int priority = op == '+' || op == '-' ? 1 : 0;
        const std::string l = left.priority > priority ? "(" + left.text + ")" : left.text;
        const std::string r = right.priority >= priority ? "(" + right.text + ")" : right.text;
        const std::string s = space();
        return {l + s + op + s + r, priority};
    }

    Node negate(const Node& operand) { return {"(-(" + operand.text + "))"}; }

    // x * x + 1: at least 1 in every component.
    Node positive(const Node& x) { return binary(binary(x, '*', x), '+', Node{"1"}); }

    // Only +, - and * of inputs and quarters: exact in float and in double, so
    // that the steps of round, floor, ceil and sign fall alike.
    Node exact(int depth)
    {
        if (depth <= 0 || pick(2) == 0)
            return leaf(VT_Float);
        return binary(exact(depth - 1), "+-*"[pick(3)], exact(depth - 1));
    }

    Node makeFloat(int depth)
    {
        switch (pick(14))
        {
        case 0:
        case 1:
            return binary(make(VT_Float, depth), "+-*"[pick(3)], make(VT_Float, depth));
        case 2:
            return binary(make(VT_Float, depth), '/', positive(make(VT_Float, depth)));
        case 3:
            return negate(make(VT_Float, depth));
        case 4:
            return call("abs", {make(VT_Float, depth)});
        case 5:
        {
            const auto type = pick(2) ? VT_Vec2 : VT_Vec3;
            return call("dot", {make(type, depth), make(type, depth)});
        }
        case 6:
            return call(pick(2) ? "length" : "length2", {make(pick(2) ? VT_Vec2 : VT_Vec3, depth)});
        case 7:
            return call("lerp",
                        {make(VT_Float, depth), make(VT_Float, depth), make(VT_Float, depth)});
        case 8:
            return call(pick(2) ? "x" : "y", {make(pick(2) ? VT_Vec2 : VT_Vec3, depth)});
        case 9:
            return call("z", {make(VT_Vec3, depth)});
        case 10:
        {
            static const char* const steps[] = {"round", "floor", "ceil", "sign"};
            return call(steps[pick(4)], {exact(2)});
        }
        default:
            return make(VT_Float, depth);
        }
    }

    Node makeVector(Expr::EnumValueType type, int depth)
    {
        const bool three = type == VT_Vec3;
        switch (pick(11))
        {
        case 0:
            return binary(make(type, depth), "+-*"[pick(3)], make(type, depth));
        case 1:
            return binary(make(VT_Float, depth), "+-*"[pick(3)], make(type, depth));
        case 2:
            return binary(make(type, depth), "+-*"[pick(3)], make(VT_Float, depth));
        case 3:
            return binary(make(type, depth), '/', positive(make(pick(2) ? type : VT_Float, depth)));
        case 4:
            return negate(make(type, depth));
        case 5:
            return call("norm", {positive(make(type, depth))});
        case 6:
            return call("lerp", {make(type, depth), make(type, depth), make(VT_Float, depth)});
        case 7:
        {
            std::vector<Node> args;
            for (int i = 0; i < (three ? 3 : 2); ++i)
                args.push_back(make(VT_Float, depth));
            return call(three ? "vec3" : "vec2", args);
        }
        case 8:
            if (three)
                return call("cross", {make(VT_Vec3, depth), make(VT_Vec3, depth)});
            return call("yx", {make(pick(2) ? VT_Vec2 : VT_Vec3, depth)});
        case 9:
        {
            static const char* const to2[] = {"xy", "yx", "xz", "zx", "yz", "zy"};
            static const char* const to3[] = {"xzy", "yxz", "yzx", "zyx", "zxy"};
            return call(three ? to3[pick(5)] : to2[pick(6)], {make(VT_Vec3, depth)});
        }
        default:
            return make(type, depth);
        }
    }

    std::mt19937 rng_;
};

// Stand-ins for the helpers the translated text calls.
const char* const jsHelpers = R"(
const zip = f => (a, b) => a.map((x, i) => f(x, b[i]));
const scalar = f => (a, s) => a.map(x => f(x, s));
const dot = (a, b) => a.reduce((sum, x, i) => sum + x * b[i], 0);
const ctx = {};
for (const n of ['v2', 'v3']) {
  ctx['add' + n + '_'] = zip((x, y) => x + y);
  ctx['sub' + n + '_'] = zip((x, y) => x - y);
  ctx['mul' + n + '_'] = zip((x, y) => x * y);
  ctx['div' + n + '_'] = zip((x, y) => x / y);
  ctx['add' + n + 'scalar_'] = scalar((x, s) => x + s);
  ctx['sub' + n + 'scalar_'] = scalar((x, s) => x - s);
  ctx['mul' + n + 'scalar_'] = scalar((x, s) => x * s);
  ctx['div' + n + 'scalar_'] = scalar((x, s) => x / s);
  ctx['subscalar' + n + '_'] = (s, a) => a.map(x => s - x);
  ctx['neg' + n + '_'] = a => a.map(x => -x);
  ctx['dot' + n + '_'] = dot;
  ctx['length' + n + '_'] = a => Math.sqrt(dot(a, a));
  ctx['length' + n + 'sq_'] = a => dot(a, a);
  ctx['normalize' + n + '_'] = a => { const l = Math.sqrt(dot(a, a)); return a.map(x => x / l); };
  ctx['lerp' + n + '_'] = (a, b, t) => a.map((x, i) => x + (b[i] - x) * t);
}
ctx.lerp_ = (a, b, t) => a + (b - a) * t;
ctx.crossv3_ = (a, b) =>
    [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
const out = x => console.log([].concat(x).map(String).join(' '));
)";

struct Case
{
    std::string text;
    std::string js;
    std::vector<ExprTest::Input> inputs;
    ExprTest::Result expected;
};

std::string jsValue(const std::vector<float>& value)
{
    std::ostringstream out;
    out.precision(9);
    if (value.size() == 1)
    {
        out << value[0];
        return out.str();
    }
    out << "[";
    for (std::size_t i = 0; i < value.size(); ++i)
        out << (i ? ", " : "") << value[i];
    out << "]";
    return out.str();
}

}  // namespace

TEST(Expr2JsNode, RunsLikeTheExecutor)
{
    const std::string node = findNode();
    if (node.empty())
        GTEST_SKIP() << "no JavaScript engine: neither node nor nodejs is on PATH "
                        "(Debian package nodejs)";

    constexpr unsigned numCases = 600;
    Generator generator(20261123);
    std::mt19937 values(7);
    // Quarters and eighths from -2 to 2 without 0: exact in float and in double.
    const auto component = [&values]
    {
        const float v = std::uniform_int_distribution<int>(2, 16)(values) / 8.0f;
        return std::uniform_int_distribution<int>(0, 1)(values) ? v : -v;
    };
    std::vector<Case> cases;
    std::ostringstream script;
    script << jsHelpers;
    for (unsigned i = 0; i < numCases; ++i)
    {
        static const Expr::EnumValueType types[] = {VT_Float, VT_Vec2, VT_Vec3};
        const Expr::EnumValueType type = types[i % 3];
        Case c;
        c.text = generator.make(type, 3).text;
        c.inputs = {ExprTest::f("a", component()),
                    ExprTest::f("b", component()),
                    ExprTest::v2("u", component(), component()),
                    ExprTest::v3("v", component(), component(), component()),
                    ExprTest::v3("w", component(), component(), component()),
                    ExprTest::f("dt", 0.125f)};
        c.expected = ExprTest::run(c.text, c.inputs);
        ASSERT_TRUE(c.expected.ok) << c.text << ": " << c.expected.error;
        std::vector<Expr2Js::InputDesc> descs;
        for (const auto& input : c.inputs)
            descs.push_back({input.name, input.type, input.name});
        const auto translated = Expr2Js::convert(c.text, descs);
        ASSERT_TRUE(translated.has_value()) << c.text;
        ASSERT_EQ(translated->first, c.expected.type) << c.text;
        c.js = translated->second;
        script << "out((function(a, b, u, v, w, dt) { return (" << c.js << "); })(";
        for (std::size_t k = 0; k < c.inputs.size(); ++k)
            script << (k ? ", " : "") << jsValue(c.inputs[k].value);
        script << "));\n";
        cases.push_back(std::move(c));
    }

    const std::string file =
        ::testing::TempDir() + "expr2js_node_" + std::to_string(::getpid()) + ".js";
    {
        std::ofstream stream(file);
        stream << script.str();
    }
    const std::string command = "'" + node + "' '" + file + "' 2>&1";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    ASSERT_TRUE(pipe);
    std::vector<std::string> lines;
    std::string line;
    for (int ch; (ch = std::fgetc(pipe.get())) != EOF;)
    {
        if (ch == '\n')
        {
            lines.push_back(line);
            line.clear();
        }
        else
        {
            line += static_cast<char>(ch);
        }
    }
    const int status = ::pclose(pipe.release());
    std::remove(file.c_str());
    if (status != 0)
    {
        std::string output;
        for (const auto& l : lines)
            output += l + "\n";
        FAIL() << "node failed:\n"
               << output.substr(output.size() > 2000 ? output.size() - 2000 : 0);
    }
    ASSERT_EQ(lines.size(), cases.size());

    unsigned compared = 0;
    for (std::size_t i = 0; i < cases.size(); ++i)
    {
        const Case& c = cases[i];
        SCOPED_TRACE("expression: " + c.text + "\njavascript: " + c.js + "\nnode: " + lines[i]);
        std::istringstream numbers(lines[i]);
        std::vector<double> got;
        for (std::string word; numbers >> word;)
            got.push_back(std::strtod(word.c_str(), nullptr));
        ASSERT_EQ(got.size(), c.expected.value.size());
        for (std::size_t k = 0; k < got.size(); ++k)
        {
            const double expected = c.expected.value[k];
            ASSERT_TRUE(std::isfinite(expected));
            EXPECT_NEAR(got[k], expected, 1e-4 * std::max(1.0, std::fabs(expected)))
                << "component " << k;
            ++compared;
        }
    }
    EXPECT_GE(compared, numCases);
}
