#include "mof/MofCompiler.h"

#include "KivoUtilities/KVOCIMText.h"
#include "KivoUtilities/KivoBaseException.h"
#include "objectmanager/ClassChecks.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

namespace kivo::mof {

std::string MofError::text() const {
    return file + ":" + std::to_string(where.line) + ":" + std::to_string(where.column) + ": " + message;
}

namespace {

// What a compile throws to stop at its first error.
struct CompileError {
    MofError error;
};

struct ValueAst {
    enum Kind { Null, Boolean, Integer, Real, String, Char16, Alias, Array, Instance } kind = Null;
    MofPosition at;
    bool boolean = false;
    bool negative = false;
    std::uint64_t integer = 0;
    double real = 0;
    std::string text;
    std::vector<ValueAst> elements;
    KVOSmrPtr<IKivoObject> instance;  // an embedded `instance of`
};

struct QualifierAst {
    std::string name;
    MofPosition at;
    std::optional<ValueAst> value;
    std::optional<bool> overridable;
    std::optional<bool> toSubclass;
    bool translatable = false;
    bool toInstance = false;
};

using Qualifiers = std::vector<KVOSmrPtr<IKivoQualifier>>;

bool isPropertyType(std::string const& word, KVOCIMType& type) {
    if (!KVOCIMTypes::fromName(KVOString(word), type)) return false;
    return type != KVOCIMType::Reference && type != KVOCIMType::Instance && type != KVOCIMType::Class;
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// A compile of one tree of files into a staging repository.
class Session {
public:
    Session(om::ClassRepository& staging, KVOString nameSpace, MofLimits const& limits,
            MofCompiler::Reader const& reader, std::vector<std::string> const& includePath, MofResult& result)
        : _repo(staging), _ns(std::move(nameSpace)), _limits(limits), _reader(reader), _includePath(includePath),
          _result(result) {}

    void compileRoot(std::string const& name, std::string const* text) {
        std::string body;
        if (text) {
            body = *text;
        } else if (!_reader(name, body)) {
            throw CompileError{MofError{name, MofPosition{}, "cannot open file '" + name + "'"}};
        }
        compileSource(name, std::move(body));
        checkReferences();
    }

private:
    struct Source {
        std::string name;
        std::string text;
        std::unique_ptr<MofLexer> lexer;
        MofToken token;
    };
    struct PendingReference {
        KVOString nameSpace;
        std::string className;
        std::string file;
        MofPosition at;
    };

    // --- Tokens and errors -------------------------------------------------

    [[noreturn]] void fail(MofPosition at, std::string const& message) const {
        throw CompileError{MofError{_src->name, at, message}};
    }
    // Fails at `at` with `problem` unless it is empty (the shared class rules
    // answer so).
    void check(MofPosition at, std::string const& problem) const {
        if (!problem.empty()) fail(at, problem);
    }
    MofToken const& tok() const { return _src->token; }
    void advance() {
        try {
            _src->token = _src->lexer->next();
        } catch (MofSyntaxError const& e) {
            fail(e.where, e.what());
        }
    }
    void expect(char c, std::string const& what) {
        if (!tok().is(c)) fail(tok().at, std::string("expected '") + c + "' " + what);
        advance();
    }
    std::string identifier(std::string const& what) {
        if (tok().kind != MofTokenKind::Identifier) fail(tok().at, "expected " + what);
        std::string name = tok().text;
        advance();
        return name;
    }
    std::string stringLiteral(std::string const& what) {
        if (tok().kind != MofTokenKind::String) fail(tok().at, "expected " + what);
        std::string s;
        while (tok().kind == MofTokenKind::String) {
            s += tok().text;
            advance();
        }
        return s;
    }

    // --- Files -------------------------------------------------------------

    void compileSource(std::string const& name, std::string text) {
        if (text.size() > _limits.maxFileBytes)
            throw CompileError{MofError{name, MofPosition{}, "file is larger than " + std::to_string(_limits.maxFileBytes) + " bytes"}};
        Source source;
        source.name = name;
        source.text = std::move(text);
        source.lexer = std::make_unique<MofLexer>(source.text);
        Source* const outer = _src;
        _src = &source;
        _stack.push_back(std::filesystem::path(name).lexically_normal().string());
        advance();
        while (tok().kind != MofTokenKind::End) production();
        _stack.pop_back();
        _src = outer;
    }

    void production() {
        if (tok().kind == MofTokenKind::Pragma) return pragma();
        std::vector<QualifierAst> qualifiers;
        if (tok().is('[')) qualifiers = qualifierList();
        if (tok().isWord("qualifier") && qualifiers.empty()) return qualifierDecl();
        if (tok().isWord("class")) return classDecl(std::move(qualifiers), 0);
        if (tok().isWord("association")) return classDecl(std::move(qualifiers), KVOQualifierScope::ASSOCIATION);
        if (tok().isWord("indication")) return classDecl(std::move(qualifiers), KVOQualifierScope::INDICATION);
        if (tok().isWord("instance")) return instanceDecl(std::move(qualifiers));
        fail(tok().at, "expected a class, instance or qualifier declaration");
    }

    void pragma() {
        advance();
        MofPosition const at = tok().at;
        std::string const name = lower(identifier("a pragma name after '#pragma'"));
        expect('(', "after the pragma name");
        MofPosition const argAt = tok().at;
        if (name == "include") {
            std::string const file = stringLiteral("a file name in '#pragma include'");
            expect(')', "after the file name");
            include(file, argAt);
        } else if (name == "namespace") {
            std::string const ns = stringLiteral("a namespace name in '#pragma namespace'");
            expect(')', "after the namespace name");
            if (ns.find_first_not_of('/') == std::string::npos) fail(argAt, "empty namespace name");
            _ns = KVOString(ns);
            _repo.addNamespace(_ns);
        } else if (name == "locale") {
            stringLiteral("a locale name in '#pragma locale'");
            expect(')', "after the locale name");
        } else {
            // Pragmas the compiler does not act on: their arguments are read and ignored.
            for (;;) {
                if (tok().kind == MofTokenKind::End) fail(at, "unterminated '#pragma " + name + "'");
                if (tok().is(')')) break;
                if (tok().kind == MofTokenKind::Pragma || tok().is(';')) fail(tok().at, "expected ')' after the pragma's arguments");
                advance();
            }
            advance();
        }
    }

    void include(std::string const& file, MofPosition at) {
        namespace fs = std::filesystem;
        fs::path const path(file);
        // A relative name is looked up beside the including file, then in
        // each directory of the include path in turn.
        std::vector<std::string> candidates;
        if (path.is_relative()) {
            candidates.push_back((fs::path(_src->name).parent_path() / path).lexically_normal().string());
            for (auto const& dir : _includePath) candidates.push_back((fs::path(dir) / path).lexically_normal().string());
        } else {
            candidates.push_back(path.lexically_normal().string());
        }
        if (_stack.size() >= _limits.maxIncludeDepth)
            fail(at, "includes nest deeper than " + std::to_string(_limits.maxIncludeDepth) + " files");
        std::string text;
        for (auto const& resolved : candidates) {
            if (std::find(_stack.begin(), _stack.end(), resolved) != _stack.end())
                fail(at, "include cycle: '" + resolved + "' is already being compiled");
            if (_reader(resolved, text)) {
                compileSource(resolved, std::move(text));
                return;
            }
        }
        fail(at, "cannot open include file '" + candidates.front() + "'");
    }

    // --- Values ------------------------------------------------------------

    ValueAst value(bool inArray = false) {
        ValueAst v;
        v.at = tok().at;
        switch (tok().kind) {
            case MofTokenKind::String:
                v.kind = ValueAst::String;
                v.text = stringLiteral("a string");
                return v;
            case MofTokenKind::Char16:
                v.kind = ValueAst::Char16;
                v.text = tok().text;
                break;
            case MofTokenKind::Integer:
                v.kind = ValueAst::Integer;
                v.integer = tok().integer;
                v.negative = tok().negative;
                break;
            case MofTokenKind::Real:
                v.kind = ValueAst::Real;
                v.real = tok().real;
                break;
            case MofTokenKind::Alias:
                v.kind = ValueAst::Alias;
                v.text = tok().text;
                break;
            case MofTokenKind::Identifier:
                if (tok().isWord("instance")) {
                    v.kind = ValueAst::Instance;
                    v.instance = instanceOf(true);
                    return v;
                }
                if (tok().isWord("true") || tok().isWord("false")) {
                    v.kind = ValueAst::Boolean;
                    v.boolean = tok().isWord("true");
                } else if (tok().isWord("null")) {
                    v.kind = ValueAst::Null;
                } else {
                    fail(tok().at, "expected a value");
                }
                break;
            case MofTokenKind::Punct:
                if (tok().is('{')) {
                    if (inArray) fail(tok().at, "arrays do not nest");
                    v.kind = ValueAst::Array;
                    advance();
                    while (!tok().is('}')) {
                        if (!v.elements.empty()) expect(',', "or '}' in an array value");
                        if (v.elements.size() >= _limits.maxArrayElements)
                            fail(tok().at, "array value has more than " + std::to_string(_limits.maxArrayElements) + " elements");
                        v.elements.push_back(value(true));
                    }
                    break;
                }
                fail(tok().at, "expected a value");
            default: fail(tok().at, "expected a value");
        }
        advance();
        return v;
    }

    [[noreturn]] void typeMismatch(ValueAst const& v, KVOCIMType type) const {
        fail(v.at, "expected a " + KVOCIMTypes::name(type).str() + " value");
    }

    KVOSmrPtr<IKivoValue> scalar(ValueAst const& v, KVOCIMType type) {
        try {
            switch (v.kind) {
                case ValueAst::Null: return nullptr;
                case ValueAst::Boolean:
                    if (type != KVOCIMType::Boolean) typeMismatch(v, type);
                    return CKivoValue::makeBoolean(v.boolean);
                case ValueAst::Integer:
                    if (KVOCIMTypes::isUnsigned(type)) {
                        if ((v.negative && v.integer != 0) || v.integer > KVOCIMTypes::maxUnsigned(type))
                            fail(v.at, "value out of range for " + KVOCIMTypes::name(type).str());
                        return CKivoValue::makeUnsigned(type, v.integer);
                    }
                    if (KVOCIMTypes::isSigned(type)) {
                        std::uint64_t const limit = v.negative
                            ? static_cast<std::uint64_t>(-(KVOCIMTypes::minSigned(type) + 1)) + 1
                            : static_cast<std::uint64_t>(KVOCIMTypes::maxSigned(type));
                        if (v.integer > limit) fail(v.at, "value out of range for " + KVOCIMTypes::name(type).str());
                        std::int64_t const s = v.negative ? static_cast<std::int64_t>(0 - v.integer) : static_cast<std::int64_t>(v.integer);
                        return CKivoValue::makeSigned(type, s);
                    }
                    if (KVOCIMTypes::isReal(type)) {
                        double const d = static_cast<double>(v.integer);
                        return CKivoValue::makeReal(type, v.negative ? -d : d);
                    }
                    typeMismatch(v, type);
                case ValueAst::Real:
                    if (!KVOCIMTypes::isReal(type)) typeMismatch(v, type);
                    return CKivoValue::makeReal(type, v.real);
                case ValueAst::String:
                    if (type == KVOCIMType::String) return CKivoValue::makeString(KVOString(v.text));
                    if (type == KVOCIMType::Reference) return CKivoValue::makeReference(objectPath(v.text, v.at));
                    if (type == KVOCIMType::DateTime) {
                        if (!KVOCIMText::isDateTime(KVOString(v.text))) fail(v.at, "bad datetime literal \"" + v.text + "\"");
                        return CKivoValue::makeDateTime(KVOString(v.text));
                    }
                    typeMismatch(v, type);
                case ValueAst::Char16:
                    if (type != KVOCIMType::Char16) typeMismatch(v, type);
                    return CKivoValue::makeChar16(KVOString(v.text));
                case ValueAst::Alias: {
                    if (type != KVOCIMType::Reference) typeMismatch(v, type);
                    auto it = _aliases.find(v.text);
                    if (it == _aliases.end()) fail(v.at, "alias $" + v.text + " is not defined");
                    return CKivoValue::makeReference(it->second);
                }
                case ValueAst::Array: fail(v.at, "expected a scalar value, not an array");
                case ValueAst::Instance:
                    // An embedded instance goes where a string (EmbeddedInstance) is declared.
                    if (type != KVOCIMType::String && type != KVOCIMType::Instance) typeMismatch(v, type);
                    return CKivoValue::makeInstance(v.instance);
            }
        } catch (KivoBaseException const& e) {
            fail(v.at, "bad " + KVOCIMTypes::name(type).str() + " value: " + e.getMessage().str());
        }
        return nullptr;
    }

    KVOSmrPtr<IKivoValue> typed(ValueAst const& v, KVOCIMType type, bool isArray) {
        if (!isArray || v.kind == ValueAst::Null) return scalar(v, type);
        if (v.kind != ValueAst::Array) fail(v.at, "expected an array value '{...}'");
        // Embedded instances make an array of instances, whatever the declared type.
        bool const instances = !v.elements.empty() && v.elements.front().kind == ValueAst::Instance;
        std::vector<KVOSmrPtr<IKivoValue>> elements;
        for (ValueAst const& e : v.elements) {
            if (e.kind == ValueAst::Null) fail(e.at, "an array element cannot be null");
            if (instances != (e.kind == ValueAst::Instance)) fail(e.at, "an array mixes embedded instances and other values");
            elements.push_back(scalar(e, type));
        }
        return CKivoValue::makeArray(instances ? KVOCIMType::Instance : type, std::move(elements));
    }

    // --- Qualifiers ----------------------------------------------------------

    std::vector<QualifierAst> qualifierList() {
        expect('[', "");
        std::vector<QualifierAst> out;
        for (;;) {
            QualifierAst q;
            q.at = tok().at;
            q.name = identifier("a qualifier name");
            if (tok().is('(')) {
                advance();
                q.value = value();
                expect(')', "after the qualifier's value");
            } else if (tok().is('{')) {
                q.value = value();
            }
            if (tok().is(':')) {
                advance();
                while (tok().kind == MofTokenKind::Identifier) {
                    flavor(tok(), q.overridable, q.toSubclass, q.translatable, q.toInstance);
                    advance();
                }
            }
            out.push_back(std::move(q));
            if (tok().is(']')) break;
            expect(',', "or ']' in a qualifier list");
        }
        advance();
        return out;
    }

    void flavor(MofToken const& t, std::optional<bool>& overridable, std::optional<bool>& toSubclass,
                bool& translatable, bool& toInstance) {
        if (t.isWord("EnableOverride")) overridable = true;
        else if (t.isWord("DisableOverride")) overridable = false;
        else if (t.isWord("ToSubclass")) toSubclass = true;
        else if (t.isWord("Restricted")) toSubclass = false;
        else if (t.isWord("Translatable")) translatable = true;
        else if (t.isWord("ToInstance")) toInstance = true;
        else fail(t.at, "unknown flavor '" + t.text + "'");
    }

    void qualifierDecl() {
        advance();
        MofPosition const nameAt = tok().at;
        std::string const name = identifier("a qualifier name after 'Qualifier'");
        expect(':', "after the qualifier name");
        MofPosition const typeAt = tok().at;
        KVOCIMType type;
        if (tok().kind != MofTokenKind::Identifier || !isPropertyType(tok().text, type))
            fail(typeAt, "expected a qualifier type");
        advance();
        bool isArray = false;
        if (tok().is('[')) {
            isArray = true;
            advance();
            if (tok().kind == MofTokenKind::Integer) advance();
            expect(']', "after the array size");
        }
        KVOSmrPtr<IKivoValue> def;
        if (tok().is('=')) {
            advance();
            ValueAst const v = value();
            def = typed(v, type, isArray);
        }
        unsigned scopes = 0;
        bool scoped = false;
        std::optional<bool> overridable, toSubclass;
        bool translatable = false, toInstance = false;
        while (tok().is(',')) {
            advance();
            if (tok().isWord("scope")) {
                advance();
                expect('(', "after 'Scope'");
                for (;;) {
                    MofToken const s = tok();
                    identifier("a scope");
                    if (s.isWord("any")) scopes |= KVOQualifierScope::ANY;
                    else if (s.isWord("class")) scopes |= KVOQualifierScope::CLASS;
                    else if (s.isWord("association")) scopes |= KVOQualifierScope::ASSOCIATION;
                    else if (s.isWord("indication")) scopes |= KVOQualifierScope::INDICATION;
                    else if (s.isWord("property")) scopes |= KVOQualifierScope::PROPERTY;
                    else if (s.isWord("reference")) scopes |= KVOQualifierScope::REFERENCE;
                    else if (s.isWord("method")) scopes |= KVOQualifierScope::METHOD;
                    else if (s.isWord("parameter")) scopes |= KVOQualifierScope::PARAMETER;
                    else fail(s.at, "unknown scope '" + s.text + "'");
                    if (tok().is(')')) break;
                    expect(',', "or ')' in a scope list");
                }
                advance();
                scoped = true;
            } else if (tok().isWord("flavor")) {
                advance();
                expect('(', "after 'Flavor'");
                for (;;) {
                    if (tok().kind != MofTokenKind::Identifier) fail(tok().at, "expected a flavor");
                    flavor(tok(), overridable, toSubclass, translatable, toInstance);
                    advance();
                    if (tok().is(')')) break;
                    expect(',', "or ')' in a flavor list");
                }
                advance();
            } else {
                fail(tok().at, "expected 'Scope' or 'Flavor' in a qualifier declaration");
            }
        }
        if (!scoped) fail(tok().at, "expected ', Scope(...)' in the declaration of qualifier " + name);
        expect(';', "after qualifier declaration");
        KVOQualifierFlavors flavors;
        if (overridable) flavors.overridable = *overridable;
        if (toSubclass) flavors.toSubclass = *toSubclass;
        flavors.translatable = translatable;
        flavors.toInstance = toInstance;
        (void)nameAt;
        _repo.addQualifierDecl(_ns, KVOSmrPtr<qora::IQualifierDef>(
                                        new CKivoQualifierDef(KVOString(name), type, isArray, def, scopes, flavors)));
        ++_result.qualifierDecls;
    }

    // The qualifiers of an element of kind `scope`; `inherited` are those
    // passed on to it from its superclass's element, checked for DisableOverride.
    Qualifiers qualifiers(std::vector<QualifierAst> const& asts, unsigned scope, Qualifiers const& inherited) {
        Qualifiers out;
        std::set<std::string> seen;
        for (QualifierAst const& a : asts) {
            qora::IQualifierDef const* decl = _repo.getQualifierDecl(_ns, KVOString(a.name));
            check(a.at, om::checks::qualifierUse(decl, a.name, scope));
            if (!seen.insert(lower(a.name)).second) fail(a.at, "qualifier " + a.name + " is given twice");
            KVOSmrPtr<IKivoValue> v;
            if (a.value) {
                if (decl->isArray() && a.value->kind != ValueAst::Array && a.value->kind != ValueAst::Null) {
                    ValueAst wrapped;
                    wrapped.kind = ValueAst::Array;
                    wrapped.at = a.value->at;
                    wrapped.elements.push_back(*a.value);
                    v = typed(wrapped, decl->getCIMType(), true);
                } else {
                    v = typed(*a.value, decl->getCIMType(), decl->isArray());
                }
            } else if (decl->getCIMType() == KVOCIMType::Boolean && !decl->isArray()) {
                v = CKivoValue::makeBoolean(true);
            }
            KVOQualifierFlavors flavors = decl->getFlavors();
            if (a.overridable) flavors.overridable = *a.overridable;
            if (a.toSubclass) flavors.toSubclass = *a.toSubclass;
            if (a.translatable) flavors.translatable = true;
            if (a.toInstance) flavors.toInstance = true;
            check(a.at, om::checks::disabledOverride(inherited, a.name, v));
            out.push_back(KVOSmrPtr<IKivoQualifier>(
                new CKivoQualifier(decl->getName(), decl->getCIMType(), std::move(v), flavors)));
        }
        return out;
    }

    // --- Classes -----------------------------------------------------------

    struct TypeRef {
        KVOCIMType type = KVOCIMType::String;
        std::string referenceClass;  // for references
        MofPosition at;
    };

    // A data type, or `ClassName REF`; false (nothing read) when the next
    // token starts neither.
    bool typeRef(TypeRef& t) {
        t.at = tok().at;
        if (tok().kind != MofTokenKind::Identifier) return false;
        if (isPropertyType(tok().text, t.type)) {
            advance();
            return true;
        }
        t.referenceClass = tok().text;
        t.type = KVOCIMType::Reference;
        advance();
        if (!tok().isWord("ref")) fail(tok().at, "expected 'REF' after class name " + t.referenceClass + " (or a data type)");
        advance();
        _references.push_back(PendingReference{_ns, t.referenceClass, _src->name, t.at});
        return true;
    }

    // '[' [size] ']' after a name: whether it is an array, and its fixed
    // size in `size` (0 for a variable-size array).
    bool arraySuffix(unsigned& size) {
        size = 0;
        if (!tok().is('[')) return false;
        advance();
        if (tok().kind == MofTokenKind::Integer) {
            if (tok().negative || tok().integer == 0 || tok().integer > 0xFFFFFFFFu)
                fail(tok().at, "an array size is a positive 32-bit integer");
            size = static_cast<unsigned>(tok().integer);
            advance();
        }
        expect(']', "after the array size");
        return true;
    }

    KVOString const& overrideTarget(Qualifiers const& qs, KVOString& storage) {
        storage = KVOString();
        for (KVOSmrPtr<IKivoQualifier> const& q : qs)
            if (q->getName().equalsIgnoreCase("Override") && q->getValue()) storage = q->getValue()->toString();
        return storage;
    }

    void classDecl(std::vector<QualifierAst> qualifierAsts, unsigned kind) {
        advance();
        MofPosition const nameAt = tok().at;
        std::string const name = identifier("a class name");
        if (_repo.getClass(_ns, KVOString(name))) fail(nameAt, "class " + name + " is already defined");
        KVOSmrPtr<IKivoClass> super;
        if (tok().is(':')) {
            advance();
            MofPosition const superAt = tok().at;
            std::string const superName = identifier("a superclass name after ':'");
            super = _repo.getClass(_ns, KVOString(superName));
            if (!super) fail(superAt, "superclass " + superName + " of " + name + " is not defined");
        }
        // The element kind for qualifier scopes: the keyword, else the
        // Association or Indication qualifier, its own or inherited.
        auto flagged = [&](char const* q) {
            for (QualifierAst const& a : qualifierAsts)
                if (KVOString(a.name).equalsIgnoreCase(q))
                    return !a.value || (a.value->kind == ValueAst::Boolean && a.value->boolean);
            return super && KVOQualifierFlag(super->getQualifier(q));
        };
        unsigned scope = kind;
        if (!scope) scope = om::checks::classScope(flagged("Association"), flagged("Indication"));
        CKivoClass::Members declared;
        declared.superClassName = super ? super->getName() : KVOString();
        declared.qualifiers = qualifiers(qualifierAsts, scope, super ? om::checks::passedOn(super->getQualifiers()) : Qualifiers());
        if (kind == KVOQualifierScope::ASSOCIATION && !KVOQualifierFlag(KVOFindNamed(declared.qualifiers, "Association")))
            declared.qualifiers.push_back(KVOSmrPtr<IKivoQualifier>(
                new CKivoQualifier("Association", CKivoValue::makeBoolean(true), declFlavors("Association"))));
        if (kind == KVOQualifierScope::INDICATION && !KVOQualifierFlag(KVOFindNamed(declared.qualifiers, "Indication")))
            declared.qualifiers.push_back(KVOSmrPtr<IKivoQualifier>(
                new CKivoQualifier("Indication", CKivoValue::makeBoolean(true), declFlavors("Indication"))));

        expect('{', "after the class name");
        std::set<std::string> propertyNames, methodNames;
        while (!tok().is('}')) {
            std::vector<QualifierAst> featureQualifiers;
            if (tok().is('[')) featureQualifiers = qualifierList();
            TypeRef type;
            if (!typeRef(type)) fail(tok().at, "expected a property, reference or method declaration");
            MofPosition const memberAt = tok().at;
            std::string const memberName = identifier("a property or method name");
            if (tok().is('(')) {
                if (!methodNames.insert(lower(memberName)).second) fail(memberAt, "duplicate method " + memberName);
                declared.methods.push_back(method(featureQualifiers, type, memberName, memberAt, super));
                continue;
            }
            if (!propertyNames.insert(lower(memberName)).second) fail(memberAt, "duplicate property " + memberName);
            declared.properties.push_back(property(featureQualifiers, type, memberName, memberAt, super));
        }
        advance();
        expect(';', "after class declaration");
        try {
            _repo.addClass(_ns, KVOString(name), std::move(declared));
        } catch (KivoBaseException const& e) {
            fail(nameAt, e.getMessage().str());
        }
        ++_result.classes;
    }

    KVOQualifierFlavors declFlavors(char const* name) const {
        qora::IQualifierDef const* d = _repo.getQualifierDecl(_ns, name);
        return d ? d->getFlavors() : KVOQualifierFlavors();
    }

    // The inherited member `name` overrides (its own name, or the one the
    // Override qualifier names); null when it overrides none. Checks that a
    // member named in Override exists and that a redeclared one says Override.
    template <class Member>
    KVOSmrPtr<Member> overridden(std::vector<QualifierAst> const& asts, std::string const& name, MofPosition at,
                                 std::vector<KVOSmrPtr<Member>> const& inherited, char const* what) {
        std::optional<std::string> target;
        MofPosition targetAt = at;
        for (QualifierAst const& a : asts)
            if (KVOString(a.name).equalsIgnoreCase("Override")) {
                target = a.value && a.value->kind == ValueAst::String ? a.value->text : name;
                targetAt = a.at;
            }
        KVOSmrPtr<Member> same = KVOFindNamed(inherited, KVOString(name));
        check(target ? targetAt : at, om::checks::overrideUse(target, name, same != nullptr, what));
        return target ? same : nullptr;
    }

    KVOSmrPtr<IKivoProperty> property(std::vector<QualifierAst> const& asts, TypeRef const& type,
                                      std::string const& name, MofPosition at, KVOSmrPtr<IKivoClass> const& super) {
        unsigned arraySize = 0;
        bool const isArray = arraySuffix(arraySize);
        if (isArray && type.type == KVOCIMType::Reference) fail(at, "a reference cannot be an array");
        KVOSmrPtr<IKivoValue> def;
        if (tok().is('=')) {
            advance();
            ValueAst const v = value();
            def = typed(v, type.type, isArray);
        }
        expect(';', type.type == KVOCIMType::Reference ? "after reference declaration" : "after property declaration");
        KVOSmrPtr<IKivoProperty> base =
            overridden(asts, name, at, super ? super->getProperties() : std::vector<KVOSmrPtr<IKivoProperty>>(), "property");
        if (base && (base->getCIMType() != type.type || base->isArray() != isArray || base->getArraySize() != arraySize))
            fail(at, "property " + name + " overrides one of another type");
        unsigned const scope = type.type == KVOCIMType::Reference ? KVOQualifierScope::REFERENCE : KVOQualifierScope::PROPERTY;
        Qualifiers qs = qualifiers(asts, scope, base ? om::checks::passedOn(base->getQualifiers()) : Qualifiers());
        if (KVOQualifierFlag(KVOFindNamed(qs, "Key"))) check(at, om::checks::keyUse(name, isArray, base.get(), super.get()));
        return KVOSmrPtr<IKivoProperty>(new CKivoProperty(KVOString(name), type.type, isArray, def, std::move(qs),
                                                          KVOString(), false, KVOString(type.referenceClass), arraySize));
    }

    KVOSmrPtr<IKivoMethod> method(std::vector<QualifierAst> const& asts, TypeRef const& type, std::string const& name,
                                  MofPosition at, KVOSmrPtr<IKivoClass> const& super) {
        advance();  // '('
        struct ParameterDraft {
            std::string name;
            TypeRef type;
            bool isArray;
            unsigned arraySize;
            std::vector<QualifierAst> qualifiers;
        };
        std::vector<ParameterDraft> drafts;
        std::vector<KVOSmrPtr<IKivoParameter>> parameters;
        std::set<std::string> parameterNames;
        while (!tok().is(')')) {
            if (!drafts.empty()) expect(',', "or ')' in a parameter list");
            std::vector<QualifierAst> pq;
            if (tok().is('[')) pq = qualifierList();
            TypeRef pt;
            if (!typeRef(pt)) fail(tok().at, "expected a parameter type");
            MofPosition const pAt = tok().at;
            std::string const pName = identifier("a parameter name");
            if (!parameterNames.insert(lower(pName)).second) fail(pAt, "duplicate parameter " + pName);
            unsigned arraySize = 0;
            bool const isArray = arraySuffix(arraySize);
            if (tok().is('=')) {  // a default, which DSP0221 allows and the repository does not keep
                advance();
                typed(value(), pt.type, isArray);
            }
            drafts.push_back(ParameterDraft{pName, pt, isArray, arraySize, std::move(pq)});
        }
        advance();
        expect(';', "after method declaration");
        KVOSmrPtr<IKivoMethod> base =
            overridden(asts, name, at, super ? super->getMethods() : std::vector<KVOSmrPtr<IKivoMethod>>(), "method");
        if (base && base->getReturnType() != type.type) fail(at, "method " + name + " overrides one of another return type");
        // A parameter of an overriding method takes the qualifiers its
        // namesake in the overridden method passes on, marked propagated.
        for (ParameterDraft& d : drafts) {
            KVOSmrPtr<IKivoParameter> inherited = base ? base->getParameter(KVOString(d.name)) : nullptr;
            Qualifiers const passed = inherited ? om::checks::passedOn(inherited->getQualifiers()) : Qualifiers();
            Qualifiers qs = qualifiers(d.qualifiers, KVOQualifierScope::PARAMETER, passed);
            for (KVOSmrPtr<IKivoQualifier> const& q : passed)
                if (!KVOFindNamed(qs, q->getName())) qs.push_back(CKivoQualifier::withPropagated(*q, true));
            parameters.push_back(KVOSmrPtr<IKivoParameter>(
                new CKivoParameter(KVOString(d.name), d.type.type, d.isArray, std::move(qs),
                                   KVOString(d.type.referenceClass), d.arraySize)));
        }
        Qualifiers qs = qualifiers(asts, KVOQualifierScope::METHOD, base ? om::checks::passedOn(base->getQualifiers()) : Qualifiers());
        return KVOSmrPtr<IKivoMethod>(new CKivoMethod(KVOString(name), type.type, std::move(parameters), std::move(qs)));
    }

    void checkReferences() {
        for (PendingReference const& r : _references)
            if (!_repo.getClass(r.nameSpace, KVOString(r.className)))
                throw CompileError{MofError{r.file, r.at, "reference to class " + r.className + ", which is not defined"}};
    }

    // --- Instances -----------------------------------------------------------

    void instanceDecl(std::vector<QualifierAst> const& qualifierAsts) {
        qualifiers(qualifierAsts, KVOQualifierScope::CLASS | KVOQualifierScope::ASSOCIATION | KVOQualifierScope::INDICATION, {});
        _result.instances.push_back(MofInstance{_ns, instanceOf(false)});
    }

    // `instance of Class [as $Alias] { Property = value; ... }`, and the ';'
    // after it unless it is `embedded` (a property value, which has no path
    // and need not give the keys).
    KVOSmrPtr<IKivoObject> instanceOf(bool embedded) {
        MofPosition const at = tok().at;
        if (_instanceDepth >= _limits.maxInstanceDepth)
            fail(at, "embedded instances nest deeper than " + std::to_string(_limits.maxInstanceDepth));
        ++_instanceDepth;
        advance();
        if (!tok().isWord("of")) fail(tok().at, "expected 'of' after 'instance'");
        advance();
        MofPosition const classAt = tok().at;
        std::string const className = identifier("a class name after 'instance of'");
        KVOSmrPtr<IKivoClass> cls = _repo.getClass(_ns, KVOString(className));
        if (!cls) fail(classAt, "class " + className + " is not defined");
        if (KVOQualifierFlag(cls->getQualifier("Abstract")))
            fail(classAt, "class " + className + " is abstract and cannot have instances");
        std::string alias;
        MofPosition aliasAt;
        if (!embedded && tok().isWord("as")) {
            advance();
            aliasAt = tok().at;
            if (tok().kind != MofTokenKind::Alias) fail(tok().at, "expected an alias '$Name' after 'as'");
            alias = tok().text;
            if (_aliases.count(alias)) fail(aliasAt, "alias $" + alias + " is already defined");
            advance();
        }
        expect('{', "after the instance's class name");
        std::map<std::string, KVOSmrPtr<IKivoProperty>> given;
        while (!tok().is('}')) {
            if (tok().is('[')) qualifierList();
            MofPosition const pAt = tok().at;
            std::string const pName = identifier("a property name");
            KVOSmrPtr<IKivoProperty> p = cls->getProperty(KVOString(pName));
            if (!p) fail(pAt, "class " + className + " has no property " + pName);
            if (given.count(lower(pName))) fail(pAt, "property " + pName + " is given twice");
            expect('=', "after the property name");
            ValueAst const v = value();
            KVOSmrPtr<IKivoValue> typedValue = typed(v, p->getCIMType(), p->isArray());
            expect(';', "after property value");
            given[lower(pName)] = CKivoProperty::withValue(*p, std::move(typedValue));
        }
        advance();
        if (!embedded) expect(';', "after instance declaration");
        --_instanceDepth;

        KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
        std::vector<KVOKeyBinding> keys;
        for (KVOSmrPtr<IKivoProperty> const& p : cls->getProperties()) {
            auto it = given.find(lower(p->getName().str()));
            KVOSmrPtr<IKivoProperty> const& chosen = it == given.end() ? p : it->second;
            if (om::ClassRepository::isKey(*p) && !embedded) {
                if (!chosen->getValue())
                    fail(classAt, "instance of " + className + " has no value for key " + p->getName().str());
                keys.push_back(KVOKeyBinding{p->getName(), chosen->getValue()});
            }
            properties.append(chosen);
        }
        KVOSmrPtr<IKivoInstanceName> path;
        if (!embedded) path = KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(_ns, cls->getName(), std::move(keys), KVOString()));
        if (!alias.empty()) _aliases.emplace(alias, path);
        return KVOSmrPtr<IKivoObject>(new CKivoObject(cls->getName(), std::move(properties), path));
    }

    // A reference written as its path, "[//host/][namespace:]Class.Key=value,...":
    // string-like values in double quotes (backslash escapes the next
    // character), others bare. Keys take the types of the class's key
    // properties when the class is known (a reference key is a path itself),
    // and stay untyped text otherwise.
    KVOSmrPtr<IKivoInstanceName> objectPath(std::string const& text, MofPosition at) {
        auto bad = [&](char const* why) -> void { fail(at, "bad object path \"" + text + "\": " + why); };
        std::size_t pos = 0;
        std::string host, nameSpace;
        if (text.compare(0, 2, "//") == 0) {
            std::size_t const slash = text.find('/', 2);
            if (slash == std::string::npos) bad("no namespace after the host");
            host = text.substr(2, slash - 2);
            pos = slash + 1;
        }
        std::size_t const stop = text.find_first_of(":.=\"", pos);
        if (stop != std::string::npos && text[stop] == ':') {
            nameSpace = text.substr(pos, stop - pos);
            pos = stop + 1;
        }
        std::size_t const dot = std::min(text.find('.', pos), text.size());
        std::string const className = text.substr(pos, dot - pos);
        if (className.empty()) bad("no class name");
        pos = dot;
        KVOSmrPtr<IKivoClass> const cls =
            _repo.getClass(nameSpace.empty() ? _ns : KVOString(nameSpace), KVOString(className));
        std::vector<KVOKeyBinding> keys;
        while (pos < text.size()) {
            ++pos;  // '.' or ','
            std::size_t const eq = text.find('=', pos);
            if (eq == std::string::npos || eq == pos) bad("a key without '='");
            KVOString const keyName(text.substr(pos, eq - pos));
            pos = eq + 1;
            std::string raw;
            bool const quoted = pos < text.size() && text[pos] == '"';
            if (quoted) {
                for (++pos;; ++pos) {
                    if (pos >= text.size()) bad("an unterminated quoted value");
                    if (text[pos] == '"') break;
                    if (text[pos] == '\\' && pos + 1 < text.size()) ++pos;
                    raw += text[pos];
                }
                ++pos;
                if (pos < text.size() && text[pos] != ',') bad("text after a quoted value");
            } else {
                std::size_t const end = std::min(text.find(',', pos), text.size());
                raw = text.substr(pos, end - pos);
                pos = end;
            }
            KVOSmrPtr<IKivoProperty> const key = cls ? cls->getProperty(keyName) : nullptr;
            KVOSmrPtr<IKivoValue> value;
            try {
                if (!key) value = KVOSmrPtr<IKivoValue>(new CKivoValue(KVOString(raw)));
                else if (key->getCIMType() == KVOCIMType::Reference) value = CKivoValue::makeReference(objectPath(raw, at));
                else value = CKivoValue::parse(key->getCIMType(), KVOString(raw));
            } catch (KivoBaseException const& e) {
                bad(e.getMessage().str().c_str());
            }
            keys.push_back(KVOKeyBinding{keyName, std::move(value)});
        }
        return KVOSmrPtr<IKivoInstanceName>(
            new CKivoInstanceName(KVOString(nameSpace), KVOString(className), std::move(keys), KVOString(host)));
    }

    om::ClassRepository& _repo;
    KVOString _ns;  // the current namespace (#pragma namespace)
    MofLimits const& _limits;
    MofCompiler::Reader const& _reader;
    std::vector<std::string> const& _includePath;
    MofResult& _result;
    Source* _src = nullptr;
    std::vector<std::string> _stack;  // the files being compiled, outermost first
    std::vector<PendingReference> _references;
    std::map<std::string, KVOSmrPtr<IKivoInstanceName>> _aliases;
    unsigned _instanceDepth = 0;  // `instance of` being read, the outermost included
};

}  // namespace

bool readMofFile(std::string const& path, std::string& out) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    out = std::move(s).str();
    return true;
}

MofCompiler::MofCompiler(om::ClassRepository& repository, KVOString nameSpace, MofLimits limits, Reader reader)
    : _repository(repository), _nameSpace(std::move(nameSpace)), _limits(limits), _reader(std::move(reader)) {
    if (!_reader) _reader = readMofFile;
}

MofResult MofCompiler::compileFile(std::string const& path) { return run(path, nullptr); }

MofResult MofCompiler::compileText(std::string const& text, std::string const& name) { return run(name, &text); }

MofResult MofCompiler::run(std::string const& name, std::string const* text) {
    MofResult result;
    om::ClassRepository staging = _repository;
    staging.addNamespace(_nameSpace);
    try {
        Session(staging, _nameSpace, _limits, _reader, _includePath, result).compileRoot(name, text);
    } catch (CompileError const& e) {
        MofResult failed;
        failed.error = e.error;
        return failed;
    }
    _repository = std::move(staging);
    return result;
}

}  // namespace kivo::mof
