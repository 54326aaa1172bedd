// The object manager's query language: a small subset of WQL, parsed by hand
// from untrusted text, bound to a class and evaluated against its instances.
//
// Grammar (keywords and names without regard to ASCII case):
//
//   query      := SELECT selectList FROM className [WHERE condition] [;]
//   selectList := '*' | name {',' name}
//   condition  := orTerm
//   orTerm     := andTerm {OR andTerm}
//   andTerm    := notTerm {AND notTerm}
//   notTerm    := NOT notTerm | primary
//   primary    := '(' condition ')'
//              |  operand compareOp operand
//              |  name IS [NOT] NULL
//   compareOp  := '=' | '<>' | '!=' | '<' | '<=' | '>' | '>='
//   operand    := name | literal
//   literal    := string | integer | real | TRUE | FALSE | NULL
//
// So NOT binds tighter than AND, and AND tighter than OR. A name is a letter
// or '_' followed by letters, digits and '_'. Strings are in single or double
// quotes; inside them a backslash escapes the next character (\' \" \\, and
// \n \t \r stand for those controls), and the quote character doubled stands
// for itself. Integers are decimal (optionally signed, up to the range of
// uint64 or sint64), or hexadecimal with 0x; reals have a fraction or an
// exponent. Whitespace is space, tab, CR and LF.
//
// Binding (wql::bind) checks the query against the FROM class: every name
// must be a property of the class (CIM_ERR_INVALID_QUERY otherwise), and each
// comparison must be between compatible kinds (below). Subclass instances
// match a FROM class; their extra properties cannot be named.
//
// Comparison rules:
// - numbers (the integer and real CIM types and numeric literals) compare by
//   value: integers exactly, across signed and unsigned; a real on either side
//   compares as real64;
// - strings, char16 and datetime compare by their text, byte by byte (case
//   matters);
// - booleans compare only with = and <> (other operators: invalid query);
// - a reference compares with = and <> by its path text;
// - a string literal compares with a number property by converting the
//   literal when the query is bound (a literal that is not a number of that
//   kind makes the query invalid), and the same for booleans ("true"/"false");
// - arrays, embedded objects and two literals of different kinds cannot be
//   compared (invalid query);
// - a NULL operand (a property without a value, or the NULL literal) makes
//   every comparison false, whatever the operator; `p IS NULL` tests for it.
//   NOT of a false comparison is true (two-valued logic).
//
// Limits on untrusted text: at most kMaxQueryLength bytes, at most kMaxDepth
// nested parentheses and NOTs, at most kMaxSelected names in the select list;
// AND and OR chains are held flat, so evaluation depth is bounded by
// kMaxDepth whatever the query's length. Every failure raises wql::QueryError
// with a message that starts "at position N: " (N counted in bytes from 1).
//
// Everything here is pure: a bound query is immutable and may be evaluated
// from any number of threads at once.
#pragma once

#include "objectmanager/CimStatus.h"

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoObject.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kivo::om {

namespace wql {

inline constexpr std::size_t kMaxQueryLength = 64 * 1024;
inline constexpr std::size_t kMaxDepth = 64;
inline constexpr std::size_t kMaxSelected = 1024;

// Whether `language` names this subset: "WQL" and "DMTF:CQL" (without regard
// to case). CQL queries are taken as the same subset; CQL syntax beyond it
// is an invalid query.
bool isSupportedLanguage(std::string_view language);

// A malformed or ill-typed query, with the byte position (from 1) it was
// found at; what() is "at position N: <reason>".
class QueryError : public std::runtime_error {
public:
    QueryError(std::size_t position, std::string const& reason);
    std::size_t position() const noexcept { return _position; }
    std::string const& reason() const noexcept { return _reason; }

private:
    std::size_t _position;
    std::string _reason;
};

struct Literal {
    enum class Kind { Null, Boolean, Signed, Unsigned, Real, String };
    Kind kind = Kind::Null;
    bool boolean = false;
    std::int64_t sint = 0;   // Signed: negative values (and only those)
    std::uint64_t uint = 0;  // Unsigned: values >= 0
    double real = 0;
    std::string text;        // String
};

struct Operand {
    bool isProperty = false;
    std::string name;  // a property; after binding, the class's spelling
    Literal literal;   // otherwise
    std::size_t position = 0;
};

enum class CompareOp { Eq, Ne, Lt, Le, Gt, Ge };

struct Condition {
    enum class Kind { Compare, IsNull, And, Or, Not };
    Kind kind = Kind::Compare;
    // Compare: left op right. IsNull: left is the property, `negated` for
    // IS NOT NULL.
    CompareOp op = CompareOp::Eq;
    Operand left;
    Operand right;
    bool negated = false;
    // And, Or: two or more terms; Not: one.
    std::vector<Condition> terms;
};

struct Query {
    bool selectAll = false;
    std::vector<std::string> selected;  // in the query's order, without repeats (ignoring case)
    std::vector<std::size_t> selectedPositions;  // where each selected name starts
    std::string className;
    std::size_t classPosition = 0;
    std::unique_ptr<Condition> where;   // null: no WHERE
};

// Parses `text` (syntax only; names are not checked). Raises QueryError.
Query parse(std::string_view text);

// The condition as text with every And, Or and Not term parenthesised, for
// tests and logs: "((A = 1) OR ((B = 2) AND (NOT (C = 3))))".
std::string describe(Condition const& condition);

// A query checked against its FROM class, ready to evaluate.
class BoundQuery {
public:
    // The FROM class as the repository has it.
    KVOSmrPtr<IKivoClass> const& queryClass() const { return _class; }
    // The selected properties in the class's spelling, in the query's order;
    // for SELECT * every property of the FROM class, in the class's order.
    std::vector<KVOString> const& columns() const { return _columns; }
    // Whether the instance (of the FROM class or a subclass) satisfies the
    // WHERE condition (true without one).
    bool matches(IKivoObject const& instance) const;
    // The selected properties of `instance` plus its keys, with its path.
    KVOSmrPtr<IKivoObject> project(IKivoObject const& instance) const;
    // The selected properties of `instance` in column order (a property the
    // instance lacks is given without a value, typed as the FROM class
    // declares it).
    std::vector<KVOSmrPtr<IKivoProperty>> row(IKivoObject const& instance) const;
    // The FROM class with only the selected properties (and no methods); the
    // class of the query's results.
    KVOSmrPtr<IKivoClass> resultClass() const;

private:
    friend BoundQuery bind(Query query, KVOSmrPtr<IKivoClass> cls);
    KVOSmrPtr<IKivoClass> _class;
    std::vector<KVOString> _columns;
    std::vector<KVOSmrPtr<IKivoProperty>> _columnDecls;  // the class's declarations of _columns
    bool _selectAll = false;
    std::shared_ptr<Condition const> _where;
};

// Checks `query` against `cls` (its FROM class, already looked up). Raises
// QueryError for an unknown property or an invalid comparison.
BoundQuery bind(Query query, KVOSmrPtr<IKivoClass> cls);

}  // namespace wql
}  // namespace kivo::om
