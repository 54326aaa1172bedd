// The object manager: CIM operations over a class repository and
// the instance providers, independent of how requests arrive.
//
// Every operation names its namespace and raises its failures as
// KivoBaseException with the DSP0200 status code (CimStatus.h): an unknown
// namespace CIM_ERR_INVALID_NAMESPACE, an unknown class CIM_ERR_INVALID_CLASS
// (CIM_ERR_INVALID_PARAMETER where the class is a parameter of an association
// traversal), a missing instance CIM_ERR_NOT_FOUND, an unknown property
// CIM_ERR_NO_SUCH_PROPERTY, an unknown method CIM_ERR_METHOD_NOT_FOUND.
//
// Operations with many results are split in two: the call checks the request
// at once (raising on the caller's thread) and returns a Producer, which does
// the work when run with a Sink, typically on a worker thread. A producer
// stops when its sink answers false. Producers refer to this object: it must
// outlive every producer it returned.
//
// Schema operations (createClass, modifyClass, deleteClass, setQualifier,
// deleteQualifier) raise, besides the namespace: CIM_ERR_INVALID_PARAMETER
// for a malformed class or declaration (ClassChecks.h), CIM_ERR_INVALID_SUPERCLASS
// for an unknown superclass, CIM_ERR_ALREADY_EXISTS for a class created twice,
// CIM_ERR_NOT_FOUND for an unknown class or declaration,
// CIM_ERR_CLASS_HAS_CHILDREN for a class with subclasses and
// CIM_ERR_CLASS_HAS_INSTANCES for a class with instances in the store or a
// provider of its own (provider classes are never changed over the wire).
// Where DSP0200 leaves the answer open, the repository stays consistent:
// DeleteClass of a class that a reference of another class names, and
// DeleteQualifier of a declaration that classes use, answer CIM_ERR_FAILED
// naming a user; SetQualifier that changes the type of a declaration in use
// answers CIM_ERR_FAILED; one that keeps the type replaces it (classes keep
// the flavors their qualifiers were given).
//
// Durability: a schema change made in the class repository is handed to the
// journal (SchemaJournal.h, when one is set) before the operation returns;
// when the journal raises, the class repository is put back as it was
// before the operation and the operation fails with what the journal raised
// (a KivoBaseException as it is, anything else as CIM_ERR_FAILED). Instances
// are as durable as the store given at construction (InstanceStore in
// memory by default).
//
// Threading: set up (providers, methods, journal) on one thread before use, then any
// number of threads may call the operations at once; the store and the
// providers lock for themselves, the repository locks each call
// (ClassRepository.h). The schema operations hold _schemaLock exclusively
// from their checks to their change, so they run one at a time and see the
// repository they checked; createInstance holds it shared, so no instance
// appears in a class that is being deleted or modified. Reads of classes take
// no lock here: they see the repository before or after a change, and the
// classes they hold stay valid. ModifyInstance and SetProperty are atomic on the instance: the
// change is applied to the instance as it is at the write, through the
// provider's update() (InstanceStore: under its lock), so concurrent writers
// of different properties keep each other's values and writers of one
// property end with one of the written values.
//
// Instance lookup is lenient in two ways that clients rely on: a path may name
// a superclass of the instance's class, and a path that gives only some of
// the keys names the one instance those keys match.
#pragma once

#include "objectmanager/ClassRepository.h"
#include "objectmanager/InstanceProvider.h"
#include "objectmanager/InstanceStore.h"
#include "objectmanager/Instances.h"
#include "objectmanager/SchemaJournal.h"
#include "objectmanager/Wql.h"

#include "Cimom/ProtocolAdapter/Common/IQueryResponse.h"
#include "KivoUtilities/IKivoActualParameter.h"

#include <functional>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

namespace kivo::om {

template <class T>
using Producer = std::function<void(Sink<T> const&)>;

// Which part of a class a response carries.
struct ClassView {
    bool localOnly = false;
    bool includeQualifiers = true;
    bool includeClassOrigin = false;
    // Null: every property; otherwise only those named.
    KVOSmrPtr<KVOValSlist<KVOString>> propertyList;
};

// The parameters of an association traversal; empty strings are absent
// filters.
struct Traversal {
    KVOSmrPtr<IKivoInstanceName> objectName;
    KVOString assocClass;
    KVOString resultClass;
    KVOString role;
    KVOString resultRole;
};

// The rows of a query in the row form (columns and property lists), as the
// row-oriented query operation of an adapter takes them.
struct QueryRows {
    // The FROM class in the repository's spelling.
    KVOString className;
    // The selected properties in the class's spelling; every property of the
    // FROM class for SELECT *.
    std::vector<KVOString> columns;
    // One row per matching instance: its properties named by `columns`, in
    // that order (lazy, like execQuery).
    Producer<qora::QueryRow> rows;
};

class ObjectManager;

// One call of an extrinsic method, as its implementation sees it.
struct MethodCall {
    KVOString nameSpace;
    KVOSmrPtr<IKivoClass> cls;
    KVOSmrPtr<IKivoMethod> method;
    // The instance the method runs on; null for a call on the class.
    KVOSmrPtr<IKivoObject> instance;
    // The input parameters given, converted to their declared types.
    PropertyValues in;

    // The input parameter named `name`, or null when not given.
    KVOSmrPtr<IKivoValue> arg(KVOString const& name) const;
};

struct MethodResult {
    KVOSmrPtr<IKivoValue> returnValue;
    // Output parameters by name (converted to the declared types by the
    // object manager).
    PropertyValues out;
};

using MethodImpl = std::function<MethodResult(ObjectManager&, MethodCall const&)>;

class ObjectManager {
public:
    // The in-memory InstanceStore with `limits` as the store.
    explicit ObjectManager(StoreLimits limits = StoreLimits());
    // `store` keeps the instances of the classes without a provider of their
    // own (it enforces its own quota).
    explicit ObjectManager(std::shared_ptr<InstanceProvider> store);
    ObjectManager(ObjectManager const&) = delete;
    ObjectManager& operator=(ObjectManager const&) = delete;

    // ---- Set-up ----
    ClassRepository& repository() { return _repository; }
    ClassRepository const& repository() const { return _repository; }
    // The provider of exactly `className` in `nameSpace` (the store when none
    // is registered).
    void registerProvider(KVOString const& nameSpace, KVOString const& className,
                          std::shared_ptr<InstanceProvider> provider);
    // The store of the classes without a provider of their own.
    InstanceProvider& store() const { return *_store; }
    // Where schema changes are recorded (null: nowhere). The journal must
    // outlive the object manager's use.
    void setJournal(SchemaJournal* journal) { _journal = journal; }
    // Runs `body` with the schema lock held exclusively, so that it can take
    // locks that schema changes take after it (a repository file's write
    // transaction) in the same order. createInstance called from `body`, on
    // this thread, runs under that hold; other operations must not be.
    void withSchemaHeld(std::function<void()> const& body);
    // The implementation of `methodName` for `className` and its subclasses.
    void registerMethod(KVOString const& nameSpace, KVOString const& className, KVOString const& methodName,
                        MethodImpl impl);

    // ---- Classes and qualifier declarations ----
    KVOSmrPtr<IKivoClass> getClass(KVOString const& nameSpace, KVOString const& className, ClassView const& view) const;
    Producer<KVOSmrPtr<IKivoClass>> enumerateClasses(KVOString const& nameSpace, KVOString const& className, bool deep,
                                                     ClassView const& view) const;
    Producer<KVOString> enumerateClassNames(KVOString const& nameSpace, KVOString const& className, bool deep) const;
    std::vector<qora::IQualifierDef const*> enumerateQualifiers(KVOString const& nameSpace) const;
    qora::IQualifierDef const* getQualifier(KVOString const& nameSpace, KVOString const& name) const;

    // ---- Schema changes (the errors: above) ----
    // Members and qualifiers marked propagated in `cls` are taken as
    // inherited and dropped; the rest is the class's own declaration. A
    // qualifier's flavors may restrict its declaration's (DisableOverride,
    // Restricted), not widen them.
    void createClass(KVOString const& nameSpace, KVOSmrPtr<IKivoClass> const& cls);
    void modifyClass(KVOString const& nameSpace, KVOSmrPtr<IKivoClass> const& cls);
    void deleteClass(KVOString const& nameSpace, KVOString const& className);
    void setQualifier(KVOString const& nameSpace, KVOSmrPtr<qora::IQualifierDef> const& decl);
    void deleteQualifier(KVOString const& nameSpace, KVOString const& name);

    // ---- Instances ----
    KVOSmrPtr<IKivoObject> getInstance(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path,
                                       InstanceView const& view);
    // DeepInheritance false limits the properties to those of `className`.
    Producer<KVOSmrPtr<IKivoObject>> enumerateInstances(KVOString const& nameSpace, KVOString const& className,
                                                        bool deep, InstanceView const& view);
    Producer<KVOSmrPtr<IKivoInstanceName>> enumerateInstanceNames(KVOString const& nameSpace,
                                                                  KVOString const& className);
    KVOSmrPtr<IKivoValue> getProperty(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path,
                                      KVOString const& propertyName);
    void setProperty(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path,
                     KVOString const& propertyName, KVOSmrPtr<IKivoValue> const& value);
    // The path of the new instance.
    KVOSmrPtr<IKivoInstanceName> createInstance(KVOString const& nameSpace, KVOSmrPtr<IKivoObject> const& instance);
    // `path` may be null: the instance's own path is used.
    void modifyInstance(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path,
                        KVOSmrPtr<IKivoObject> const& instance, KVOSmrPtr<KVOValSlist<KVOString>> const& propertyList);
    void deleteInstance(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path);

    // ---- Associations ----
    // A traversal from a path without keys, of a class that has keys, works on
    // classes: results are classes (class values) and class paths.
    Producer<KVOSmrPtr<IKivoValue>> associators(KVOString const& nameSpace, Traversal const& traversal,
                                                InstanceView const& view);
    Producer<KVOSmrPtr<IKivoInstanceName>> associatorNames(KVOString const& nameSpace, Traversal const& traversal);
    // ResultClass filters the association classes.
    Producer<KVOSmrPtr<IKivoValue>> references(KVOString const& nameSpace, Traversal const& traversal,
                                               InstanceView const& view);
    Producer<KVOSmrPtr<IKivoInstanceName>> referenceNames(KVOString const& nameSpace, Traversal const& traversal);

    // ---- Queries (the language: Wql.h) ----
    // The instances of the FROM class and its subclasses that satisfy the
    // WHERE condition, each with its path and holding the selected properties
    // plus its keys. The query is checked at once, on the caller's thread:
    // a language other than WQL or DMTF:CQL raises
    // CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, an unknown namespace
    // CIM_ERR_INVALID_NAMESPACE, a malformed query, an unknown FROM class or
    // property, or an invalid comparison CIM_ERR_INVALID_QUERY (the message
    // gives the position). The producer reads the providers lazily, one
    // instance at a time, like enumerateInstances.
    Producer<KVOSmrPtr<IKivoObject>> execQuery(KVOString const& nameSpace, KVOString const& queryLanguage,
                                               KVOString const& query);
    // The class of the results of `query` (OpenQueryInstances'
    // QueryResultClass): the FROM class with only the selected properties.
    // Raises as execQuery.
    KVOSmrPtr<IKivoClass> queryResultClass(KVOString const& nameSpace, KVOString const& queryLanguage,
                                           KVOString const& query) const;
    // The same query in the row form. Raises as execQuery.
    QueryRows queryRows(KVOString const& nameSpace, KVOString const& queryLanguage, KVOString const& query);

    // ---- Methods ----
    // `path` null: the method is called on `className`.
    MethodResult invokeMethod(KVOString const& nameSpace, KVOString const& className,
                              KVOSmrPtr<IKivoInstanceName> const& path, KVOString const& methodName,
                              std::vector<KVOSmrPtr<IKivoActualParameter>> const& in);

    // The instance a path names, or null (see the lookup rules above).
    KVOSmrPtr<IKivoObject> findInstance(KVOString const& nameSpace, IKivoInstanceName const& path) const;

private:
    // One association step: the association instance (or class), the
    // reference property that points at the source, and for associator walks
    // the reference the walk arrives at. Answers false to stop.
    struct Step {
        KVOSmrPtr<IKivoObject> association;     // null on classes
        KVOSmrPtr<IKivoClass> associationClass;
        KVOSmrPtr<IKivoInstanceName> target;    // null for references walks
    };
    using StepSink = std::function<bool(Step const&)>;

    void requireNamespace(KVOString const& nameSpace) const;
    KVOSmrPtr<IKivoClass> requireClass(KVOString const& nameSpace, KVOString const& className) const;
    InstanceProvider& provider(KVOString const& nameSpace, IKivoClass const& cls) const;
    // The class and its subclasses, every level.
    std::vector<KVOSmrPtr<IKivoClass>> family(KVOString const& nameSpace, KVOSmrPtr<IKivoClass> const& cls) const;
    // Checks the traversal and returns the producer of its steps.
    std::function<void(StepSink const&)> walk(KVOString const& nameSpace, Traversal const& traversal,
                                              bool associatorWalk) const;
    void walkInstances(KVOString const& nameSpace, Traversal const& t, bool associatorWalk, StepSink const& out) const;
    void walkClasses(KVOString const& nameSpace, Traversal const& t, bool associatorWalk,
                     KVOSmrPtr<IKivoClass> const& source, StepSink const& out) const;
    static bool classLevel(IKivoInstanceName const& objectName, IKivoClass const& cls);
    // Checks the language and binds the query to its FROM class.
    wql::BoundQuery bindQuery(KVOString const& nameSpace, KVOString const& queryLanguage, KVOString const& query) const;
    // Hands every instance of `classes` that satisfies `q` to `out` until it
    // answers false.
    void matching(KVOString const& nameSpace, std::vector<KVOSmrPtr<IKivoClass>> const& classes,
                  wql::BoundQuery const& q, Sink<KVOSmrPtr<IKivoObject>> const& out) const;
    KVOSmrPtr<IKivoInstanceName> namedPath(KVOString const& nameSpace, Step const& step, bool associatorWalk);

    // Raises CIM_ERR_CLASS_HAS_INSTANCES when `cls` has a provider of its
    // own or instances in the store. Caller holds _schemaLock exclusively.
    void requireNoInstances(KVOString const& nameSpace, IKivoClass const& cls) const;
    // Makes `change` in the class repository, then tells the journal with
    // `record`; when the journal raises, puts the repository back and raises
    // (see Durability above). Caller holds _schemaLock exclusively.
    void journaled(std::function<void()> const& change, std::function<void(SchemaJournal&)> const& record);

    ClassRepository _repository;
    std::shared_mutex _schemaLock;  // see the threading rule above
    std::shared_ptr<InstanceProvider> _store;
    SchemaJournal* _journal = nullptr;  // set up before use; called under _schemaLock (exclusive)
    std::map<std::string, std::shared_ptr<InstanceProvider>> _providers;  // "namespace:class" -> provider
    std::map<std::string, MethodImpl> _methods;                           // "namespace:class.method" -> impl
};

// The class as the view shows it.
KVOSmrPtr<IKivoClass> viewOf(IKivoClass const& cls, ClassView const& view);

}  // namespace kivo::om
