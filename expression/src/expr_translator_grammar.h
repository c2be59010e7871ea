#pragma once

// The grammar of the expression translators, on Boost.Spirit Qi and Phoenix.
// Each translator instantiates it once, in its own source file, with a
// language that says what it prints (ns, constantSuffix, call).
//
//   expression: term, then any number of "+" term or "-" term (left-associative)
//   term:       factor, then any number of "*" factor or "/" factor
//   factor, the first alternative that succeeds:
//     1. a real number (Spirit's float_: "nan", "inf", a leading sign belong to it)
//     2. a call: ASCII letters and digits, "(", expressions separated by ",", ")"
//     3. an input name (longest match, whatever follows)
//     4. "(" expression ")"
//     5. "-" factor
//     6. "+" factor
// Every ASCII space character is skipped between tokens and the whole text has
// to be read. An operator or call without a mapping for its operand types fails
// its own alternative only, so the parse backtracks and tries the next one.

#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <boost/fusion/include/adapt_struct.hpp>
#include <boost/phoenix/core.hpp>
#include <boost/phoenix/function.hpp>
#include <boost/phoenix/operator.hpp>
#include <boost/spirit/include/qi.hpp>

#include "expr_translator_rules.h"

BOOST_FUSION_ADAPT_STRUCT(Expr::Translator::FuncDesc, name, args)

namespace Expr::Translator::Grammar
{

namespace qi = boost::spirit::qi;
namespace ascii = boost::spirit::ascii;
namespace phx = boost::phoenix;

using Iterator = std::string::const_iterator;
using Skipper = ascii::space_type;

// A bound was reached: ends the whole parse at once, so that nothing backtracks
// into the same depth again.
struct LimitReached
{
    Iterator where;
    std::string message;
};

inline std::string nestingMessage()
{
    return "the expression nests parentheses, calls and signs more than " +
           std::to_string(maxNestingDepth) + " levels deep";
}
inline std::string treeMessage()
{
    return "the expression is more than " + std::to_string(maxTreeDepth) + " operations deep";
}

// Where the last factor began: the position given with a refused tree depth.
struct Progress
{
    Iterator lastFactor;
};

inline void checkDepth(const OperationPtr& made, const Progress* progress)
{
    if (made->getDepth() > maxTreeDepth)
        throw LimitReached{progress->lastFactor, treeMessage()};
}

struct EnterFactor
{
    Progress* progress;
    template <class Range>
    void operator()(const Range& at, unsigned depth) const
    {
        progress->lastFactor = at.begin();
        if (depth > maxNestingDepth)
            throw LimitReached{at.begin(), nestingMessage()};
    }
};

template <class Language>
struct MakeConstant
{
    OperationPtr operator()(float value) const
    {
        return std::make_shared<OperationConstant>(value, Language::constantSuffix);
    }
};

// The actions below return the node, or clear `pass` (the alternative fails)
// when the operand types have no mapping.
template <class Language>
struct MakeBinary
{
    const Progress* progress;
    OperationPtr operator()(char op, const OperationPtr& left, const OperationPtr& right,
                            bool& pass) const
    {
        OperationPtr made = makeBinary(op, left, right, Language::ns);
        if (!made)
        {
            pass = false;
            return left;
        }
        checkDepth(made, progress);
        return made;
    }
};

template <class Language>
struct MakeNegation
{
    const Progress* progress;
    OperationPtr operator()(const OperationPtr& operand, bool& pass) const
    {
        OperationPtr made = makeNegation(operand, Language::ns);
        if (!made)
        {
            pass = false;
            return operand;
        }
        checkDepth(made, progress);
        return made;
    }
};

template <class Language>
struct MakeCall
{
    const Progress* progress;
    OperationPtr operator()(const FuncDesc& call, bool& pass) const
    {
        OperationPtr made = Language::call(call);
        if (!made)
        {
            pass = false;
            return nullptr;
        }
        checkDepth(made, progress);
        return made;
    }
};

template <class Language>
class Grammar : public qi::grammar<Iterator, OperationPtr(), Skipper>
{
public:
    Grammar(const std::vector<InputDesc>& inputs, Progress& progress)
        : Grammar::base_type(start),
          enter(EnterFactor{&progress}),
          binary(MakeBinary<Language>{&progress}),
          negate(MakeNegation<Language>{&progress}),
          function(MakeCall<Language>{&progress})
    {
        using qi::_1;
        using qi::_pass;
        using qi::_r1;
        using qi::_val;

        // The first of equal names wins, as in the byte-code parser.
        for (const InputDesc& input : inputs)
            if (!input.name.empty() && !inputNames.find(input.name))
                inputNames.add(input.name,
                               std::make_shared<OperationInput>(input.type, input.targetName));

        start = expression(phx::val(0u))[_val = _1];
        expression = term(_r1)[_val = _1] >>
                     *((qi::lit('+') >> term(_r1))[_val = binary('+', _val, _1, _pass)] |
                       (qi::lit('-') >> term(_r1))[_val = binary('-', _val, _1, _pass)]);
        term = factor(_r1)[_val = _1] >>
               *((qi::lit('*') >> factor(_r1))[_val = binary('*', _val, _1, _pass)] |
                 (qi::lit('/') >> factor(_r1))[_val = binary('/', _val, _1, _pass)]);
        factor = qi::raw[qi::eps][enter(_1, _r1)] >>
                 (number[_val = constant(_1)] | call(_r1)[_val = function(_1, _pass)] |
                  inputNames[_val = _1] | (qi::lit('(') >> expression(_r1 + 1u) >> ')')[_val = _1] |
                  (qi::lit('-') >> factor(_r1 + 1u))[_val = negate(_1, _pass)] |
                  (qi::lit('+') >> factor(_r1 + 1u))[_val = _1]);
        // Spirit's real parser can leave the cursor moved when it fails (an
        // exponent beyond a float's range); a sequence puts it back.
        number = qi::float_ >> qi::eps;
        call %= name >> '(' >> -(expression(_r1 + 1u) % ',') >> ')';
        // No skipper: a name is one token.
        name %= +ascii::alnum;
    }

private:
    qi::rule<Iterator, OperationPtr(), Skipper> start;
    qi::rule<Iterator, OperationPtr(unsigned), Skipper> expression;
    qi::rule<Iterator, OperationPtr(unsigned), Skipper> term;
    qi::rule<Iterator, OperationPtr(unsigned), Skipper> factor;
    qi::rule<Iterator, float(), Skipper> number;
    qi::rule<Iterator, FuncDesc(unsigned), Skipper> call;
    qi::rule<Iterator, std::string()> name;
    qi::symbols<char, OperationPtr> inputNames;

    phx::function<EnterFactor> enter;
    phx::function<MakeConstant<Language>> constant;
    phx::function<MakeBinary<Language>> binary;
    phx::function<MakeNegation<Language>> negate;
    phx::function<MakeCall<Language>> function;
};

template <class Language>
Result convert(const std::string& text, const std::vector<InputDesc>& inputs,
               unsigned* errorPosition, std::string* errorMessage)
{
    Progress progress{text.begin()};
    Iterator first = text.begin();
    const Iterator last = text.end();
    std::string why = "the expression does not translate from here on";
    // Spirit's float reader (Boost 1.74) fails an internal assertion on some very long
    // fractions: refuse runs of digits longer than any float needs before it sees them.
    constexpr size_t kMaxDigitRun = 64;
    size_t run = 0;
    for (Iterator it = text.begin(); it != last; ++it)
    {
        run = (*it >= '0' && *it <= '9') ? run + 1 : 0;
        if (run > kMaxDigitRun)
        {
            if (errorPosition)
                *errorPosition = static_cast<unsigned>(it - text.begin());
            if (errorMessage)
                *errorMessage = "the expression holds a number of more than " +
                                std::to_string(kMaxDigitRun) + " digits";
            return std::nullopt;
        }
    }
    try
    {
        const Grammar<Language> grammar(inputs, progress);
        OperationPtr tree;
        if (qi::phrase_parse(first, last, grammar, ascii::space, tree) && first == last)
        {
            std::ostringstream out;
            out.imbue(std::locale::classic());
            out << *tree;
            return Result(std::in_place, tree->getType(), out.str());
        }
    }
    catch (const LimitReached& limit)
    {
        first = limit.where;
        why = limit.message;
    }
    if (errorPosition)
        *errorPosition = static_cast<unsigned>(first - text.begin());
    if (errorMessage)
        *errorMessage = why;
    return std::nullopt;
}

}  // namespace Expr::Translator::Grammar
