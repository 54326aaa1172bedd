// The object manager's class repository: namespaces, the classes in each
// (with inheritance resolved) and the qualifier declarations.
//
// Classes are added as they are declared (their own properties, methods and
// qualifiers, the superclass by name) and kept in two forms: the declared
// one and the resolved one, which also carries every inherited property and
// method (marked propagated, naming its class origin) and the superclass's
// qualifiers that pass to subclasses. Lookups answer the resolved form.
//
// Threading: any number of threads may read while one writes. Every call
// holds _lock for its own duration only: shared for reads, exclusive for
// changes, so each call sees the repository whole, before or after a change.
// Every object handed out is immutable and shared: a class that is removed or
// replaced stays valid for whoever holds it. Qualifier declarations are
// handed out as plain pointers (the operation interfaces take them so), so a
// declaration that is replaced or deleted is retired, not freed: it lives as
// long as the repository (one small object per replacing SetQualifier or
// DeleteQualifier; an identical re-declaration keeps the one there). A
// sequence of calls is not atomic: callers that check and then change (the
// object manager's schema operations) serialise themselves.
//
// Names of namespaces, classes and qualifiers are matched without regard to
// ASCII case; a namespace name may carry leading or trailing slashes.
#pragma once

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IQualifierDef.h"

#include <map>
#include <shared_mutex>
#include <string>
#include <vector>

namespace kivo::om {

class ClassRepository {
public:
    ClassRepository() = default;
    // Copies take the other repository as it is at the call.
    ClassRepository(ClassRepository const& other);
    ClassRepository& operator=(ClassRepository const& other);

    // Adds an empty namespace (nothing when it exists).
    void addNamespace(KVOString const& nameSpace);
    bool hasNamespace(KVOString const& nameSpace) const;
    // The namespace names as they were added.
    std::vector<KVOString> namespaces() const;

    // Adds a qualifier declaration; a later one of the same name replaces it.
    // Raises CIM_ERR_INVALID_NAMESPACE for an unknown namespace.
    void addQualifierDecl(KVOString const& nameSpace, KVOSmrPtr<qora::IQualifierDef> decl);
    // The declaration, or null. Declarations live as long as the repository.
    qora::IQualifierDef const* getQualifierDecl(KVOString const& nameSpace, KVOString const& name) const;
    std::vector<qora::IQualifierDef const*> qualifierDecls(KVOString const& nameSpace) const;
    // Removes the declaration; false when there is none.
    bool removeQualifierDecl(KVOString const& nameSpace, KVOString const& name);
    // The classes whose qualifiers (of the class, its properties, methods or
    // parameters, own or inherited) include `qualifier`, in declaration order.
    std::vector<KVOString> classesUsing(KVOString const& nameSpace, KVOString const& qualifier) const;

    // Adds a class declared with `declared` (own members only; the
    // superclass named by declared.superClassName). Own members get the class
    // as their class origin. Raises CIM_ERR_INVALID_NAMESPACE,
    // CIM_ERR_INVALID_CLASS for an unknown superclass, CIM_ERR_ALREADY_EXISTS
    // for a class already there.
    void addClass(KVOString const& nameSpace, KVOString const& name, CKivoClass::Members declared);
    // Replaces a class that has no subclasses by the one declared with
    // `declared` (it keeps its place in the declaration order; its superclass
    // may change). Raises CIM_ERR_INVALID_NAMESPACE, CIM_ERR_NOT_FOUND,
    // CIM_ERR_CLASS_HAS_CHILDREN, CIM_ERR_INVALID_SUPERCLASS.
    void replaceClass(KVOString const& nameSpace, KVOString const& name, CKivoClass::Members declared);
    // Removes a class that has no subclasses. Raises as replaceClass.
    void removeClass(KVOString const& nameSpace, KVOString const& name);

    // The resolved class, or null.
    KVOSmrPtr<IKivoClass> getClass(KVOString const& nameSpace, KVOString const& name) const;
    // The subclasses of `name` in declaration order: the direct ones, or with
    // `deep` every descendant. An empty name stands for the root: the classes
    // without superclass, or with `deep` every class.
    std::vector<KVOSmrPtr<IKivoClass>> subclasses(KVOString const& nameSpace, KVOString const& name, bool deep) const;
    // Whether `className` is `ancestor` or descends from it.
    bool isA(KVOString const& nameSpace, KVOString const& className, KVOString const& ancestor) const;
    // The classes of the namespace in declaration order (a modified class
    // keeps its place).
    std::vector<KVOSmrPtr<IKivoClass>> classes(KVOString const& nameSpace) const;
    // The association classes of the namespace, in declaration order.
    std::vector<KVOSmrPtr<IKivoClass>> associations(KVOString const& nameSpace) const;

    // The key property names of a resolved class (properties with a true Key
    // qualifier), in property order.
    static std::vector<KVOString> keyNames(IKivoClass const& cls);
    // Whether the property carries the Key qualifier with a true value.
    static bool isKey(IKivoProperty const& property);

private:
    struct Entry {
        KVOSmrPtr<IKivoClass> resolved;
        std::string superKey;            // lower-cased superclass name; empty at a root
        std::vector<std::size_t> children;  // indexes into Namespace::classes
    };
    struct Namespace {
        KVOString name;
        std::vector<Entry> classes;                  // in declaration order
        std::map<std::string, std::size_t> byName;   // lower-cased name -> index
        std::map<std::string, KVOSmrPtr<qora::IQualifierDef>> qualifiers;  // lower-cased name -> decl
        std::vector<std::string> qualifierOrder;     // lower-cased names in declaration order
    };

    // Callers hold _lock (shared or exclusive, as they read or change).
    Namespace* find(KVOString const& nameSpace);
    Namespace const* find(KVOString const& nameSpace) const;
    Namespace& require(KVOString const& nameSpace);
    static Entry const* entry(Namespace const& ns, KVOString const& name);
    static void collect(Namespace const& ns, std::vector<std::size_t> const& from, bool deep,
                        std::vector<KVOSmrPtr<IKivoClass>>& out);
    // The resolved class `declared` makes in `ns`; its superclass key in `superKey`.
    static KVOSmrPtr<IKivoClass> resolve(Namespace const& ns, KVOString const& name, CKivoClass::Members declared,
                                         std::string& superKey);
    // Rebuilds byName and children from classes.
    static void reindex(Namespace& ns);
    // The entry of a class that may be changed: it exists and has no children.
    static std::size_t leaf(Namespace const& ns, KVOString const& name);
    // Keeps every declaration of `old` that `now` does not hold alive (see
    // the threading rule).
    void retire(std::map<std::string, Namespace> const& old);

    mutable std::shared_mutex _lock;
    std::map<std::string, Namespace> _namespaces;  // guarded by _lock; lower-cased, slash-trimmed name -> namespace
    std::vector<KVOString> _namespaceOrder;        // guarded by _lock
    std::vector<KVOSmrPtr<qora::IQualifierDef>> _retired;  // guarded by _lock (exclusive)
};

// The lower-cased form of a name, the key of every name lookup.
std::string nameKey(KVOString const& name);
// A namespace name without leading and trailing slashes, lower-cased.
std::string nameSpaceKey(KVOString const& nameSpace);

}  // namespace kivo::om
