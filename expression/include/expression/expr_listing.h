#pragma once

// A readable listing of byte code, for tools and logs.

#include <string>

namespace Expr
{

// One line per record, each ending in '\n':
//   header: inputs N, commands N, arguments N, data N bytes, pool N bytes, code N bytes
//   input I: TYPE @OFFSET
//   command I: KIND "NAME" overload K (TYPE = TYPE, ...): @RESULT <- @ARG, ...
//   constant I: float @OFFSET = VALUE
//   result: TYPE @OFFSET
// KIND is "unary", "binary" or "function"; offsets are byte offsets in the data
// area; values are printed with 9 significant digits, enough to read back the
// same float. Code that checkCode refuses gives the single line
//   refused: REASON
std::string listCode(const unsigned char* code, unsigned size);

// A float printed with 9 significant digits ("%.9g"): "1.5", "0.100000001", "inf", "nan".
std::string formatFloat(float value);

}  // namespace Expr
