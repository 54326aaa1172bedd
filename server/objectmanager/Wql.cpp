#include "objectmanager/Wql.h"

#include "objectmanager/Instances.h"

#include "KivoUtilities/CKivoData.h"

#include <cctype>
#include <charconv>
#include <optional>
#include <utility>

namespace kivo::om::wql {

namespace {

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isNameStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool isNameChar(char c) { return isNameStart(c) || isDigit(c); }
bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// ---- Lexer -------------------------------------------------------------------

struct Token {
    enum class Kind { End, Name, Literal, Symbol };
    Kind kind = Kind::End;
    std::string_view text;  // the bytes of the token in the query
    std::size_t position = 0;  // from 1
    Literal literal;           // Literal
};

class Lexer {
public:
    explicit Lexer(std::string_view text) : _text(text) {}

    Token next() {
        while (_pos < _text.size() && isSpace(_text[_pos])) ++_pos;
        Token t;
        t.position = _pos + 1;
        if (_pos >= _text.size()) return t;
        std::size_t const start = _pos;
        char const c = _text[_pos];
        if (isNameStart(c)) {
            while (_pos < _text.size() && isNameChar(_text[_pos])) ++_pos;
            t.kind = Token::Kind::Name;
        } else if (c == '\'' || c == '"') {
            t.kind = Token::Kind::Literal;
            t.literal.kind = Literal::Kind::String;
            t.literal.text = string(c, t.position);
        } else if (isDigit(c) || c == '.' || ((c == '-' || c == '+') && startsNumber(_pos + 1))) {
            t.kind = Token::Kind::Literal;
            t.literal = number(t.position);
        } else {
            static constexpr std::string_view two[] = {"<>", "!=", "<=", ">="};
            t.kind = Token::Kind::Symbol;
            for (std::string_view s : two)
                if (_text.substr(_pos, 2) == s) _pos += 2;
            if (_pos == start) {
                if (std::string_view("*,()=<>;").find(c) == std::string_view::npos)
                    throw QueryError(t.position, "unexpected character " + shown(c));
                ++_pos;
            }
        }
        t.text = _text.substr(start, _pos - start);
        return t;
    }

private:
    static std::string shown(char c) {
        unsigned char const u = static_cast<unsigned char>(c);
        if (u >= 0x20 && u < 0x7f) return std::string("'") + c + "'";
        static char const hex[] = "0123456789abcdef";
        return std::string("0x") + hex[u >> 4] + hex[u & 15];
    }

    bool startsNumber(std::size_t at) const {
        return at < _text.size() &&
               (isDigit(_text[at]) || (_text[at] == '.' && at + 1 < _text.size() && isDigit(_text[at + 1])));
    }

    // A quoted string from _pos; a backslash escapes the next character, a
    // doubled quote is one quote.
    std::string string(char quote, std::size_t position) {
        std::string out;
        ++_pos;
        while (true) {
            if (_pos >= _text.size()) throw QueryError(position, "unterminated string");
            char const c = _text[_pos++];
            if (c == quote) {
                if (_pos < _text.size() && _text[_pos] == quote) {
                    out += quote;
                    ++_pos;
                    continue;
                }
                return out;
            }
            if (c != '\\') {
                out += c;
                continue;
            }
            if (_pos >= _text.size()) throw QueryError(position, "unterminated string");
            char const e = _text[_pos++];
            out += e == 'n' ? '\n' : e == 't' ? '\t' : e == 'r' ? '\r' : e;
        }
    }

    Literal number(std::size_t position) {
        std::size_t const start = _pos;
        bool negative = false;
        if (_text[_pos] == '-' || _text[_pos] == '+') negative = _text[_pos++] == '-';
        Literal l;
        std::size_t const digits = _pos;
        if (_text.substr(_pos, 2) == "0x" || _text.substr(_pos, 2) == "0X") {
            _pos += 2;
            std::size_t const hexStart = _pos;
            while (_pos < _text.size() && std::isxdigit(static_cast<unsigned char>(_text[_pos]))) ++_pos;
            std::uint64_t v = 0;
            auto r = std::from_chars(_text.data() + hexStart, _text.data() + _pos, v, 16);
            if (hexStart == _pos || r.ec != std::errc()) throw QueryError(position, "invalid hexadecimal number");
            return integer(negative, v, position);
        }
        bool real = false;
        while (_pos < _text.size() && isDigit(_text[_pos])) ++_pos;
        if (_pos < _text.size() && _text[_pos] == '.') {
            real = true;
            ++_pos;
            while (_pos < _text.size() && isDigit(_text[_pos])) ++_pos;
        }
        if (_pos < _text.size() && (_text[_pos] == 'e' || _text[_pos] == 'E')) {
            real = true;
            ++_pos;
            if (_pos < _text.size() && (_text[_pos] == '+' || _text[_pos] == '-')) ++_pos;
            std::size_t const exp = _pos;
            while (_pos < _text.size() && isDigit(_text[_pos])) ++_pos;
            if (exp == _pos) throw QueryError(position, "invalid number: no digits in the exponent");
        }
        if (_pos < _text.size() && isNameChar(_text[_pos]))
            throw QueryError(position, "invalid number " + std::string(_text.substr(start, _pos - start + 1)));
        if (real) {
            l.kind = Literal::Kind::Real;
            // "1." is a real too; from_chars stops before a trailing point.
            char const* const end = _text.data() + _pos - (_text[_pos - 1] == '.' ? 1 : 0);
            auto r = std::from_chars(_text.data() + start + (_text[start] == '+' ? 1 : 0), end, l.real);
            if (r.ec != std::errc() || r.ptr != end) throw QueryError(position, "invalid real number");
            return l;
        }
        std::uint64_t v = 0;
        auto r = std::from_chars(_text.data() + digits, _text.data() + _pos, v, 10);
        if (r.ec != std::errc()) throw QueryError(position, "integer out of range");
        return integer(negative, v, position);
    }

    static Literal integer(bool negative, std::uint64_t magnitude, std::size_t position) {
        Literal l;
        if (!negative || magnitude == 0) {
            l.kind = Literal::Kind::Unsigned;
            l.uint = magnitude;
            return l;
        }
        constexpr std::uint64_t kMinMagnitude = std::uint64_t(1) << 63;
        if (magnitude > kMinMagnitude) throw QueryError(position, "integer out of range");
        l.kind = Literal::Kind::Signed;
        l.sint = magnitude == kMinMagnitude ? INT64_MIN : -static_cast<std::int64_t>(magnitude);
        return l;
    }

    std::string_view _text;
    std::size_t _pos = 0;
};

// ---- Parser ------------------------------------------------------------------

class Parser {
public:
    explicit Parser(std::string_view text) : _lexer(text) { advance(); }

    Query query() {
        Query q;
        expectKeyword("SELECT");
        if (isSymbol("*")) {
            q.selectAll = true;
            advance();
        } else {
            while (true) {
                Token const t = name("a property name or *");
                bool repeated = false;
                for (std::string const& s : q.selected) repeated = repeated || equalsIgnoreCase(s, t.text);
                if (!repeated) {
                    if (q.selected.size() == kMaxSelected)
                        throw QueryError(t.position, "more than " + std::to_string(kMaxSelected) + " properties selected");
                    q.selected.emplace_back(t.text);
                    q.selectedPositions.push_back(t.position);
                }
                if (!isSymbol(",")) break;
                advance();
            }
        }
        expectKeyword("FROM");
        Token const cls = name("a class name");
        q.className = std::string(cls.text);
        q.classPosition = cls.position;
        if (isKeyword("WHERE")) {
            advance();
            q.where = std::make_unique<Condition>(disjunction());
        }
        if (isSymbol(";")) advance();
        if (_token.kind != Token::Kind::End) throw unexpected("the end of the query");
        return q;
    }

private:
    static bool reserved(std::string_view word) {
        static constexpr std::string_view words[] = {"SELECT", "FROM", "WHERE", "AND", "OR",
                                                     "NOT", "IS", "NULL", "TRUE", "FALSE"};
        for (std::string_view w : words)
            if (equalsIgnoreCase(w, word)) return true;
        return false;
    }

    void advance() { _token = _lexer.next(); }
    bool isSymbol(std::string_view s) const { return _token.kind == Token::Kind::Symbol && _token.text == s; }
    bool isKeyword(std::string_view k) const {
        return _token.kind == Token::Kind::Name && equalsIgnoreCase(_token.text, k);
    }

    QueryError unexpected(std::string const& expected) const {
        std::string found = _token.kind == Token::Kind::End ? std::string("the end of the query")
                                                            : "'" + std::string(_token.text.substr(0, 40)) + "'";
        return QueryError(_token.position, "expected " + expected + ", found " + found);
    }

    void expectKeyword(std::string_view k) {
        if (!isKeyword(k)) throw unexpected(std::string(k));
        advance();
    }

    Token name(std::string const& expected) {
        if (_token.kind != Token::Kind::Name || reserved(_token.text)) throw unexpected(expected);
        Token t = _token;
        advance();
        return t;
    }

    // Counts one level of nesting (a parenthesis or a NOT) for its lifetime.
    class Nesting {
    public:
        Nesting(std::size_t& depth, std::size_t position) : _depth(depth) {
            if (++_depth > kMaxDepth)
                throw QueryError(position, "conditions nested deeper than " + std::to_string(kMaxDepth) + " levels");
        }
        ~Nesting() { --_depth; }
        Nesting(Nesting const&) = delete;
        Nesting& operator=(Nesting const&) = delete;

    private:
        std::size_t& _depth;
    };

    // OR and AND chains are collected flat: their length adds no depth.
    Condition disjunction() { return chain(Condition::Kind::Or, "OR", &Parser::conjunction); }
    Condition conjunction() { return chain(Condition::Kind::And, "AND", &Parser::negation); }

    Condition chain(Condition::Kind kind, std::string_view keyword, Condition (Parser::*term)()) {
        Condition first = (this->*term)();
        if (!isKeyword(keyword)) return first;
        Condition c;
        c.kind = kind;
        c.terms.push_back(std::move(first));
        while (isKeyword(keyword)) {
            advance();
            c.terms.push_back((this->*term)());
        }
        return c;
    }

    Condition negation() {
        if (!isKeyword("NOT")) return primary();
        Nesting const n(_depth, _token.position);
        advance();
        Condition c;
        c.kind = Condition::Kind::Not;
        c.terms.push_back(negation());
        return c;
    }

    Condition primary() {
        if (isSymbol("(")) {
            Nesting const n(_depth, _token.position);
            advance();
            Condition c = disjunction();
            if (!isSymbol(")")) throw unexpected("')'");
            advance();
            return c;
        }
        Condition c;
        c.left = operand();
        if (c.left.isProperty && isKeyword("IS")) {
            advance();
            c.kind = Condition::Kind::IsNull;
            if (isKeyword("NOT")) {
                c.negated = true;
                advance();
            }
            expectKeyword("NULL");
            return c;
        }
        static constexpr std::pair<std::string_view, CompareOp> ops[] = {
            {"=", CompareOp::Eq}, {"<>", CompareOp::Ne}, {"!=", CompareOp::Ne}, {"<", CompareOp::Lt},
            {"<=", CompareOp::Le}, {">", CompareOp::Gt}, {">=", CompareOp::Ge}};
        bool found = false;
        for (auto const& [text, op] : ops) {
            if (isSymbol(text)) {
                c.op = op;
                found = true;
            }
        }
        if (!found) throw unexpected(c.left.isProperty ? "a comparison operator or IS" : "a comparison operator");
        advance();
        c.right = operand();
        return c;
    }

    Operand operand() {
        Operand o;
        o.position = _token.position;
        if (_token.kind == Token::Kind::Literal) {
            o.literal = _token.literal;
        } else if (isKeyword("TRUE") || isKeyword("FALSE")) {
            o.literal.kind = Literal::Kind::Boolean;
            o.literal.boolean = isKeyword("TRUE");
        } else if (isKeyword("NULL")) {
            o.literal.kind = Literal::Kind::Null;
        } else if (_token.kind == Token::Kind::Name && !reserved(_token.text)) {
            o.isProperty = true;
            o.name = std::string(_token.text);
        } else {
            throw unexpected("a property name or a value");
        }
        advance();
        return o;
    }

    Lexer _lexer;
    Token _token;
    std::size_t _depth = 0;
};

// ---- Describing ----------------------------------------------------------------

std::string describe(Operand const& o) {
    if (o.isProperty) return o.name;
    Literal const& l = o.literal;
    switch (l.kind) {
        case Literal::Kind::Null: return "NULL";
        case Literal::Kind::Boolean: return l.boolean ? "TRUE" : "FALSE";
        case Literal::Kind::Signed: return std::to_string(l.sint);
        case Literal::Kind::Unsigned: return std::to_string(l.uint);
        case Literal::Kind::Real: {
            char buf[64];
            auto r = std::to_chars(buf, buf + sizeof buf, l.real);
            return std::string(buf, r.ptr);
        }
        case Literal::Kind::String: {
            std::string out = "'";
            for (char c : l.text) out += c == '\'' ? std::string("''") : std::string(1, c);
            return out + "'";
        }
    }
    return {};
}

char const* describe(CompareOp op) {
    switch (op) {
        case CompareOp::Eq: return "=";
        case CompareOp::Ne: return "<>";
        case CompareOp::Lt: return "<";
        case CompareOp::Le: return "<=";
        case CompareOp::Gt: return ">";
        case CompareOp::Ge: return ">=";
    }
    return "?";
}

// ---- Binding -------------------------------------------------------------------

// What a comparison sees of an operand's type.
enum class Category { Null, Number, Text, Boolean, Reference };

char const* nameOf(Category c) {
    switch (c) {
        case Category::Null: return "NULL";
        case Category::Number: return "a number";
        case Category::Text: return "a string";
        case Category::Boolean: return "a boolean";
        case Category::Reference: return "a reference";
    }
    return "?";
}

Category categoryOf(Literal const& l) {
    switch (l.kind) {
        case Literal::Kind::Null: return Category::Null;
        case Literal::Kind::Boolean: return Category::Boolean;
        case Literal::Kind::String: return Category::Text;
        default: return Category::Number;
    }
}

std::optional<Category> categoryOf(KVOCIMType type) {
    if (KVOCIMTypes::isNumeric(type)) return Category::Number;
    if (KVOCIMTypes::isText(type)) return Category::Text;
    switch (type) {
        case KVOCIMType::Boolean: return Category::Boolean;
        case KVOCIMType::Reference: return Category::Reference;
        default: return std::nullopt;
    }
}

Literal literalOf(IKivoValue const& v) {
    Literal l;
    KVOCIMType const t = v.getCIMType();
    if (KVOCIMTypes::isUnsigned(t)) {
        l.kind = Literal::Kind::Unsigned;
        l.uint = v.getUnsigned();
    } else if (KVOCIMTypes::isSigned(t)) {
        std::int64_t const s = v.getSigned();
        if (s < 0) {
            l.kind = Literal::Kind::Signed;
            l.sint = s;
        } else {
            l.kind = Literal::Kind::Unsigned;
            l.uint = static_cast<std::uint64_t>(s);
        }
    } else if (KVOCIMTypes::isReal(t)) {
        l.kind = Literal::Kind::Real;
        l.real = v.getReal();
    } else if (t == KVOCIMType::Boolean) {
        l.kind = Literal::Kind::Boolean;
        l.boolean = v.getBoolean();
    } else {
        l.kind = Literal::Kind::String;
        l.text = v.toString().str();
    }
    return l;
}

class Binder {
public:
    explicit Binder(IKivoClass const& cls) : _class(cls) {}

    KVOSmrPtr<IKivoProperty> property(std::string const& name, std::size_t position) const {
        KVOSmrPtr<IKivoProperty> p = _class.getProperty(KVOString(name));
        if (!p) throw QueryError(position, "class " + _class.getName().str() + " has no property " + name);
        return p;
    }

    void bind(Condition& c) const {
        switch (c.kind) {
            case Condition::Kind::And:
            case Condition::Kind::Or:
            case Condition::Kind::Not:
                for (Condition& t : c.terms) bind(t);
                return;
            case Condition::Kind::IsNull:
                c.left.name = property(c.left.name, c.left.position)->getName().str();
                return;
            case Condition::Kind::Compare:
                compare(c);
                return;
        }
    }

private:
    // The operand's category; a property is renamed to the class's spelling.
    Category category(Operand& o) const {
        if (!o.isProperty) return categoryOf(o.literal);
        KVOSmrPtr<IKivoProperty> p = property(o.name, o.position);
        o.name = p->getName().str();
        std::optional<Category> c = categoryOf(p->getCIMType());
        if (p->isArray() || !c) throw QueryError(o.position, "property " + o.name + " cannot be compared (" +
                                                                 (p->isArray() ? std::string("an array")
                                                                               : KVOCIMTypes::name(p->getCIMType()).str()) +
                                                                 ")");
        return *c;
    }

    // A string literal compared with a number or boolean property becomes a
    // literal of that kind, read as the property's type reads it.
    void convert(Operand& literal, Operand const& property) const {
        KVOSmrPtr<IKivoProperty> p = _class.getProperty(KVOString(property.name));
        try {
            KVOSmrPtr<IKivoValue> v = CKivoValue::parse(p->getCIMType(), KVOString(literal.literal.text));
            literal.literal = literalOf(*v);
        } catch (KivoBaseException const&) {
            throw QueryError(literal.position, "'" + literal.literal.text + "' is not a " +
                                                   KVOCIMTypes::name(p->getCIMType()).str() + " value for " +
                                                   property.name);
        }
    }

    void compare(Condition& c) const {
        Category l = category(c.left);
        Category r = category(c.right);
        if (l == Category::Text && !c.left.isProperty && c.right.isProperty &&
            (r == Category::Number || r == Category::Boolean)) {
            convert(c.left, c.right);
            l = r;
        }
        if (r == Category::Text && !c.right.isProperty && c.left.isProperty &&
            (l == Category::Number || l == Category::Boolean)) {
            convert(c.right, c.left);
            r = l;
        }
        if (l == Category::Null || r == Category::Null) return;
        for (Category const k : {l, r})
            if ((k == Category::Boolean || k == Category::Reference) && c.op != CompareOp::Eq && c.op != CompareOp::Ne)
                throw QueryError(c.left.position, std::string(nameOf(k)) + " compares only with = and <>");
        // A reference compares with a string by its path text.
        if ((l == Category::Reference && r == Category::Text) || (l == Category::Text && r == Category::Reference))
            return;
        if (l != r)
            throw QueryError(c.left.position, std::string("cannot compare ") + nameOf(l) + " with " + nameOf(r));
    }

    IKivoClass const& _class;
};

// ---- Evaluation ----------------------------------------------------------------

// The properties of one instance, looked up by name (the instance's list is
// copied once per evaluation, not once per lookup).
class Values {
public:
    explicit Values(IKivoObject const& instance) : _properties(instance.getProperties()) {}

    // The operand's value; nullopt for NULL.
    std::optional<Literal> of(Operand const& o) const {
        if (!o.isProperty) {
            if (o.literal.kind == Literal::Kind::Null) return std::nullopt;
            return o.literal;
        }
        KVOString const name(o.name);
        for (KVOSmrPtr<IKivoProperty> const& p : _properties) {
            if (!p->getName().equalsIgnoreCase(name)) continue;
            KVOSmrPtr<IKivoValue> v = p->getValue();
            if (!v || v->isArray()) return std::nullopt;
            return literalOf(*v);
        }
        return std::nullopt;
    }

private:
    KVOValSlist<KVOSmrPtr<IKivoProperty>> _properties;
};

// -1, 0 or 1; nullopt for values that have no order (NaN).
std::optional<int> order(Literal const& a, Literal const& b) {
    auto three = [](auto x, auto y) -> std::optional<int> {
        if (x < y) return -1;
        if (y < x) return 1;
        if (x == y) return 0;
        return std::nullopt;
    };
    using K = Literal::Kind;
    if (a.kind == K::String || a.kind == K::Boolean) {
        if (b.kind != a.kind) return std::nullopt;
        return a.kind == K::String ? three(a.text, b.text) : three(a.boolean, b.boolean);
    }
    if (a.kind == K::Real || b.kind == K::Real) {
        auto real = [](Literal const& l) {
            return l.kind == K::Real ? l.real : l.kind == K::Signed ? static_cast<double>(l.sint) : static_cast<double>(l.uint);
        };
        return three(real(a), real(b));
    }
    if (a.kind == K::Signed && b.kind == K::Signed) return three(a.sint, b.sint);
    if (a.kind == K::Unsigned && b.kind == K::Unsigned) return three(a.uint, b.uint);
    if (a.kind == K::Signed && b.kind == K::Unsigned) return -1;  // negative < non-negative
    if (a.kind == K::Unsigned && b.kind == K::Signed) return 1;
    return std::nullopt;
}

bool evaluate(Condition const& c, Values const& values) {
    switch (c.kind) {
        case Condition::Kind::And:
            for (Condition const& t : c.terms)
                if (!evaluate(t, values)) return false;
            return true;
        case Condition::Kind::Or:
            for (Condition const& t : c.terms)
                if (evaluate(t, values)) return true;
            return false;
        case Condition::Kind::Not:
            return !evaluate(c.terms.front(), values);
        case Condition::Kind::IsNull:
            return values.of(c.left).has_value() == c.negated;
        case Condition::Kind::Compare: {
            std::optional<Literal> const l = values.of(c.left);
            std::optional<Literal> const r = values.of(c.right);
            if (!l || !r) return false;
            std::optional<int> const o = order(*l, *r);
            if (!o) return c.op == CompareOp::Ne;
            switch (c.op) {
                case CompareOp::Eq: return *o == 0;
                case CompareOp::Ne: return *o != 0;
                case CompareOp::Lt: return *o < 0;
                case CompareOp::Le: return *o <= 0;
                case CompareOp::Gt: return *o > 0;
                case CompareOp::Ge: return *o >= 0;
            }
        }
    }
    return false;
}

}  // namespace

bool isSupportedLanguage(std::string_view language) {
    return equalsIgnoreCase(language, "WQL") || equalsIgnoreCase(language, "DMTF:CQL");
}

QueryError::QueryError(std::size_t position, std::string const& reason)
    : std::runtime_error("at position " + std::to_string(position) + ": " + reason), _position(position), _reason(reason) {}

Query parse(std::string_view text) {
    if (text.size() > kMaxQueryLength)
        throw QueryError(kMaxQueryLength + 1, "query longer than " + std::to_string(kMaxQueryLength) + " bytes");
    return Parser(text).query();
}

std::string describe(Condition const& c) {
    switch (c.kind) {
        case Condition::Kind::Compare:
            return "(" + describe(c.left) + " " + describe(c.op) + " " + describe(c.right) + ")";
        case Condition::Kind::IsNull:
            return "(" + c.left.name + (c.negated ? " IS NOT NULL)" : " IS NULL)");
        case Condition::Kind::Not:
            return "(NOT " + describe(c.terms.front()) + ")";
        case Condition::Kind::And:
        case Condition::Kind::Or: {
            std::string out = "(";
            for (std::size_t i = 0; i < c.terms.size(); ++i) {
                if (i > 0) out += c.kind == Condition::Kind::And ? " AND " : " OR ";
                out += describe(c.terms[i]);
            }
            return out + ")";
        }
    }
    return {};
}

bool BoundQuery::matches(IKivoObject const& instance) const {
    return !_where || evaluate(*_where, Values(instance));
}

KVOSmrPtr<IKivoObject> BoundQuery::project(IKivoObject const& instance) const {
    InstanceView view;
    if (!_selectAll) {
        view.propertyList = KVOSmrPtr<KVOValSlist<KVOString>>(new KVOValSlist<KVOString>());
        for (KVOString const& c : _columns) view.propertyList->append(c);
        if (KVOSmrPtr<IKivoInstanceName> path = instance.getInstanceName())
            for (KVOKeyBinding const& k : path->getKeys()) view.propertyList->append(k.name);
    }
    return viewOf(instance, view);
}

std::vector<KVOSmrPtr<IKivoProperty>> BoundQuery::row(IKivoObject const& instance) const {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> const properties = instance.getProperties();
    std::vector<KVOSmrPtr<IKivoProperty>> out;
    out.reserve(_columns.size());
    for (KVOSmrPtr<IKivoProperty> const& decl : _columnDecls) {
        KVOSmrPtr<IKivoProperty> const given = KVOFindNamed(properties, decl->getName());
        out.push_back(KVOSmrPtr<IKivoProperty>(new CKivoProperty(decl->getName(), decl->getCIMType(), decl->isArray(),
                                                                 given ? given->getValue() : nullptr, {}, KVOString(),
                                                                 false, decl->getReferenceClass())));
    }
    return out;
}

KVOSmrPtr<IKivoClass> BoundQuery::resultClass() const {
    CKivoClass::Members m;
    m.superClass = _class->getSuperClass();
    m.superClassName = _class->getSuperClassName();
    m.qualifiers = _class->getQualifiers();
    m.properties = _columnDecls;
    return KVOSmrPtr<IKivoClass>(new CKivoClass(_class->getName(), std::move(m)));
}

BoundQuery bind(Query query, KVOSmrPtr<IKivoClass> cls) {
    Binder const binder(*cls);
    BoundQuery q;
    q._selectAll = query.selectAll;
    if (query.selectAll) {
        q._columnDecls = cls->getProperties();
    } else {
        for (std::size_t i = 0; i < query.selected.size(); ++i)
            q._columnDecls.push_back(binder.property(query.selected[i], query.selectedPositions[i]));
    }
    for (KVOSmrPtr<IKivoProperty> const& decl : q._columnDecls) q._columns.push_back(decl->getName());
    if (query.where) {
        binder.bind(*query.where);
        q._where = std::shared_ptr<Condition const>(std::move(query.where));
    }
    q._class = std::move(cls);
    return q;
}

}  // namespace kivo::om::wql
