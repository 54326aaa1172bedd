#include "CIMXMLOperations.h"

#include "CIMXMLExecuteQuery.h"
#include "CIMXMLParams.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "Cimom/ProtocolAdapter/Common/CloseEnumerationOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/ExecQueryOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoAssociatorNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoCreateClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoCreateInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteQualifierOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstanceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetPropertyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetQualifierOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoInvokeMethodOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoModifyClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoModifyInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferenceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoSetPropertyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoSetQualifierOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenAssociatorInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenAssociatorInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenQueryInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenReferenceInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OpenReferenceInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancePathsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullInstancesWithPathOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "KivoUtilities/CKivoData.h"

#include <initializer_list>
#include <type_traits>

namespace cimxmlpa {

namespace {

// The one concrete class of every operation: the library's base plus
// isValid and writeResponse. (The open operations' bases reach their
// intrinsic twin's interface twice, through virtual bases that hold nothing:
// see their headers.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
template <class Traits>
class CIMXMLOperation final : public Traits::Base {
public:
    template <class... Args>
    explicit CIMXMLOperation(ResponseChannel& channel, Args... baseArgs) : Traits::Base(baseArgs...), _channel(channel) {}

    // The handler is reached only when the request's parameters were accepted
    // (a refused parameter sets the error status before process).
    bool isValid() const override { return this->getErrorCode() == 0; }

    void writeResponse(KVOGenericHTTPOStream&) override {
        if constexpr (std::is_base_of_v<IKivoClassOriginatedOperation, typename Traits::Base>) {
            _channel.dataWriter().setIncludeClassOrigin(this->getClassOrigin());
        }
        Traits::write(*this, _channel);
    }

private:
    ResponseChannel& _channel;
};
#pragma GCC diagnostic pop

template <class Base>
using Table = std::vector<ParamSpec<Base>>;

// Parameters that name an instance also give the operation its class name.
template <class Base, class Owner>
ParamSpec<Base> instanceNameParam(void (Owner::*setter)(KVOSmrPtr<IKivoInstanceName>), char const* name) {
    return {name, Required, [setter](Base& op, pugi::xml_node p, KVOString const& ns) {
                KVOSmrPtr<IKivoInstanceName> path = ParamReaders::instanceName(p, ns);
                op.setClassName(path->getClassName());
                (op.*setter)(path);
            }};
}

// A class given where the operation takes an instance path: a path of the
// class without keys, which the object manager takes as the class itself.
KVOSmrPtr<IKivoInstanceName> classPath(KVOString const& nameSpace, KVOString const& className) {
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(nameSpace, className));
}

// The ObjectName of the association operations: an instance, or a class
// (CLASSNAME) for the class-level form, passed as a path without keys.
template <class Base>
ParamSpec<Base> objectNameParam() {
    return {"ObjectName", Required, [](Base& op, pugi::xml_node p, KVOString const& ns) {
                std::vector<pugi::xml_node> c = childElements(p);
                KVOSmrPtr<IKivoInstanceName> path =
                    c.size() == 1 && std::string_view(c[0].name()) == "CLASSNAME"
                        ? classPath(ns, reader::className(c[0]))
                        : ParamReaders::instanceName(p, ns);
                op.setClassName(path->getClassName());
                op.setSourceInstance(path);
            }};
}

template <class Base>
ParamSpec<Base> classNameParam(ParamPresence presence) {
    return param<Base>(&Base::setClassName, "ClassName", presence, &ParamReaders::className);
}

template <class Base>
ParamSpec<Base> propertyListParam() {
    return param<Base>(&Base::setPropertyList, "PropertyList", Optional, &ParamReaders::propertyList);
}

// --- Single-result operations ----------------------------------------------

struct GetClassTraits {
    using Base = KivoGetClassOperationBase;
    static constexpr char const* name = "GetClass";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            classNameParam<Base>(Required),
            boolParam<Base>(&Base::setLocalOnly, "LocalOnly"),
            boolParam<Base>(&Base::setIncludeQualifiers, "IncludeQualifiers"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
            propertyListParam<Base>(),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(op, [&](std::string& out) { ch.dataWriter().writeClass(out, op.getClass()); });
    }
};

struct GetInstanceTraits {
    using Base = KivoGetInstanceOperationBase;
    static constexpr char const* name = "GetInstance";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            instanceNameParam<Base>(&Base::setName, "InstanceName"),
            ignoredBoolParam<Base>("LocalOnly"),
            ignoredBoolParam<Base>("IncludeQualifiers"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
            propertyListParam<Base>(),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(op, [&](std::string& out) {
            if (KVOSmrPtr<IKivoObject> instance = op.getInstance()) ch.dataWriter().writeInstance(out, *instance);
        });
    }
};

struct GetPropertyTraits {
    using Base = KivoGetPropertyOperationBase;
    static constexpr char const* name = "GetProperty";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            instanceNameParam<Base>(&Base::setInstanceName, "InstanceName"),
            param<Base>(&Base::setPropertyName, "PropertyName", Required, &ParamReaders::string),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(op, [&](std::string& out) {
            if (KVOSmrPtr<IKivoValue> value = op.getPropertyValue()) ch.dataWriter().writeValue(out, *value);
        });
    }
};

struct SetPropertyTraits {
    using Base = KivoSetPropertyOperationBase;
    static constexpr char const* name = "SetProperty";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            instanceNameParam<Base>(&Base::setInstanceName, "InstanceName"),
            param<Base>(&Base::setPropertyName, "PropertyName", Required, &ParamReaders::string),
            param<Base>(&Base::setPropertyValue, "NewValue", Optional, &ParamReaders::value),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct CreateInstanceTraits {
    using Base = KivoCreateInstanceOperationBase;
    static constexpr char const* name = "CreateInstance";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            {"NewInstance", Required,
             [](Base& op, pugi::xml_node p, KVOString const& ns) {
                 std::vector<pugi::xml_node> c = childElements(p);
                 if (c.size() != 1) reader::invalid("NewInstance must hold one INSTANCE");
                 KVOSmrPtr<IKivoObject> instance = reader::instance(c[0], nullptr, ns);
                 op.setClassName(instance->getClassName());
                 op.setInstance(instance);
             }},
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(op, [&](std::string& out) {
            if (KVOSmrPtr<IKivoInstanceName> path = op.getInstanceName()) ch.dataWriter().writeInstanceName(out, *path);
        });
    }
};

struct ModifyInstanceTraits {
    using Base = KivoModifyInstanceOperationBase;
    static constexpr char const* name = "ModifyInstance";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            {"ModifiedInstance", Required,
             [](Base& op, pugi::xml_node p, KVOString const& ns) {
                 std::vector<pugi::xml_node> c = childElements(p);
                 if (c.size() != 1) reader::invalid("ModifiedInstance must hold one VALUE.NAMEDINSTANCE");
                 KVOSmrPtr<IKivoObject> instance = reader::namedInstance(c[0], ns);
                 op.setClassName(instance->getClassName());
                 op.setInstanceName(instance->getInstanceName());
                 op.setInstance(instance);
             }},
            ignoredBoolParam<Base>("IncludeQualifiers"),
            propertyListParam<Base>(),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct DeleteInstanceTraits {
    using Base = KivoDeleteInstanceOperationBase;
    static constexpr char const* name = "DeleteInstance";
    static Table<Base> const& params() {
        static Table<Base> const table = {instanceNameParam<Base>(&Base::setInstanceName, "InstanceName")};
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct GetQualifierTraits {
    using Base = KivoGetQualifierOperationBase;
    static constexpr char const* name = "GetQualifier";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            param<Base>(&Base::setQualifierName, "QualifierName", Required, &ParamReaders::string),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(op, [&](std::string& out) {
            if (qora::IQualifierDef const* def = op.getQualifierDef()) ch.dataWriter().writeQualifierDeclaration(out, *def);
        });
    }
};

// --- Schema operations: an empty IMETHODRESPONSE or the error ---------------

// The one element a parameter holds, read by `read`.
template <class Result, class Read>
Result oneElement(pugi::xml_node p, char const* what, Read read) {
    std::vector<pugi::xml_node> c = childElements(p);
    if (c.size() != 1) reader::invalid(std::string(p.attribute("NAME").value()) + " must hold one " + what);
    return read(c[0]);
}

template <class Base>
ParamSpec<Base> classParam(char const* name) {
    return {name, Required, [](Base& op, pugi::xml_node p, KVOString const&) {
                KVOSmrPtr<IKivoClass> cls = oneElement<KVOSmrPtr<IKivoClass>>(p, "CLASS", &reader::classDeclaration);
                op.setClassName(cls->getName());
                op.setClass(cls);
            }};
}

struct CreateClassTraits {
    using Base = KivoCreateClassOperationBase;
    static constexpr char const* name = "CreateClass";
    static Table<Base> const& params() {
        static Table<Base> const table = {classParam<Base>("NewClass")};
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct ModifyClassTraits {
    using Base = KivoModifyClassOperationBase;
    static constexpr char const* name = "ModifyClass";
    static Table<Base> const& params() {
        static Table<Base> const table = {classParam<Base>("ModifiedClass")};
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct DeleteClassTraits {
    using Base = KivoDeleteClassOperationBase;
    static constexpr char const* name = "DeleteClass";
    static Table<Base> const& params() {
        static Table<Base> const table = {classNameParam<Base>(Required)};
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct SetQualifierTraits {
    using Base = KivoSetQualifierOperationBase;
    static constexpr char const* name = "SetQualifier";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            {"QualifierDeclaration", Required,
             [](Base& op, pugi::xml_node p, KVOString const&) {
                 op.setQualifierDef(oneElement<KVOSmrPtr<qora::IQualifierDef>>(p, "QUALIFIER.DECLARATION",
                                                                              &reader::qualifierDeclaration));
             }},
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct DeleteQualifierTraits {
    using Base = KivoDeleteQualifierOperationBase;
    static constexpr char const* name = "DeleteQualifier";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            param<Base>(&Base::setQualifierName, "QualifierName", Required, &ParamReaders::string),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

struct EnumerateQualifiersTraits {
    using Base = KivoEnumerateQualifiersOperationBase;
    static constexpr char const* name = "EnumerateQualifiers";
    static Table<Base> const& params() {
        static Table<Base> const table = {};
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(op, [&](std::string& out) {
            if (auto list = op.getQualifierList()) {
                for (qora::IQualifierDef const* def : *list) {
                    if (def != nullptr) ch.dataWriter().writeQualifierDeclaration(out, *def);
                }
            }
        });
    }
};

// --- Streamed operations ----------------------------------------------------

struct EnumerateClassNamesTraits {
    using Base = KivoEnumerateClassNamesOperationBase;
    static constexpr char const* name = "EnumerateClassNames";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            classNameParam<Base>(Optional),
            boolParam<Base>(&Base::setDeepInheritance, "DeepInheritance"),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOString const& n) { ch.dataWriter().writeClassName(out, n); });
    }
};

struct EnumerateClassesTraits {
    using Base = KivoEnumerateClassesOperationBase;
    static constexpr char const* name = "EnumerateClasses";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            classNameParam<Base>(Optional),
            boolParam<Base>(&Base::setDeepInheritance, "DeepInheritance"),
            boolParam<Base>(&Base::setLocalOnly, "LocalOnly"),
            boolParam<Base>(&Base::setIncludeQualifiers, "IncludeQualifiers"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoClass> const& c) { ch.dataWriter().writeClass(out, c); });
    }
};

struct EnumerateInstanceNamesTraits {
    using Base = KivoEnumerateInstanceNamesOperationBase;
    static constexpr char const* name = "EnumerateInstanceNames";
    static Table<Base> const& params() {
        static Table<Base> const table = {classNameParam<Base>(Required)};
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoInstanceName> const& p) {
            if (p) ch.dataWriter().writeInstanceName(out, *p);
        });
    }
};

struct EnumerateInstancesTraits {
    using Base = KivoEnumerateInstancesOperationBase;
    static constexpr char const* name = "EnumerateInstances";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            classNameParam<Base>(Required),
            ignoredBoolParam<Base>("LocalOnly"),
            boolParam<Base>(&Base::setDeepInheritance, "DeepInheritance"),
            ignoredBoolParam<Base>("IncludeQualifiers"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
            propertyListParam<Base>(),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoObject> const& i) {
            if (i) ch.dataWriter().writeNamedInstance(out, *i);
        });
    }
};

// The filters of an associators walk and of a references walk.
template <class Base>
Table<Base> associatorFilters() {
    return {
        param<Base>(&Base::setAssociationClass, "AssocClass", Optional, &ParamReaders::className),
        param<Base>(&Base::setResultClass, "ResultClass", Optional, &ParamReaders::className),
        param<Base>(&Base::setRole, "Role", Optional, &ParamReaders::optionalString),
        param<Base>(&Base::setResultRole, "ResultRole", Optional, &ParamReaders::optionalString),
    };
}
template <class Base>
Table<Base> referenceFilters() {
    return {
        param<Base>(&Base::setResultClass, "ResultClass", Optional, &ParamReaders::className),
        param<Base>(&Base::setRole, "Role", Optional, &ParamReaders::optionalString),
    };
}

// The tables of `parts`, one after the other.
template <class Base>
Table<Base> joined(std::initializer_list<Table<Base>> parts) {
    Table<Base> out;
    for (Table<Base> const& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

// Associators and References return classes or instances as values; the
// *Names forms return paths.
void writeObjectWithPath(ResponseChannel& ch, std::string& out, KVOSmrPtr<IKivoValue> const& v) {
    if (v) ch.dataWriter().writeObjectWithPath(out, *v);
}

// A traversal that starts from a class (a path without keys) yields class
// paths.
template <class Op>
void writeObjectPath(Op& op, ResponseChannel& ch, std::string& out, KVOSmrPtr<IKivoInstanceName> const& p) {
    if (!p) return;
    KVOSmrPtr<IKivoInstanceName> source = op.getSourceInstance();
    bool const classLevel = source && source->getKeys().empty() && p->getKeys().empty();
    ch.dataWriter().writeObjectPath(out, *p, classLevel);
}

struct AssociatorsTraits {
    using Base = KivoAssociatorsOperationBase;
    static constexpr char const* name = "Associators";
    static Table<Base> const& params() {
        static Table<Base> const table = joined<Base>({{objectNameParam<Base>()}, associatorFilters<Base>(), {
            ignoredBoolParam<Base>("IncludeQualifiers"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
            propertyListParam<Base>(),
        }});
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoValue> const& v) { writeObjectWithPath(ch, out, v); });
    }
};

struct AssociatorNamesTraits {
    using Base = KivoAssociatorNamesOperationBase;
    static constexpr char const* name = "AssociatorNames";
    static Table<Base> const& params() {
        static Table<Base> const table = joined<Base>({{objectNameParam<Base>()}, associatorFilters<Base>()});
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoInstanceName> const& p) { writeObjectPath(op, ch, out, p); });
    }
};

struct ReferencesTraits {
    using Base = KivoReferencesOperationBase;
    static constexpr char const* name = "References";
    static Table<Base> const& params() {
        static Table<Base> const table = joined<Base>({{objectNameParam<Base>()}, referenceFilters<Base>(), {
            ignoredBoolParam<Base>("IncludeQualifiers"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
            propertyListParam<Base>(),
        }});
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoValue> const& v) { writeObjectWithPath(ch, out, v); });
    }
};

struct ReferenceNamesTraits {
    using Base = KivoReferenceNamesOperationBase;
    static constexpr char const* name = "ReferenceNames";
    static Table<Base> const& params() {
        static Table<Base> const table = joined<Base>({{objectNameParam<Base>()}, referenceFilters<Base>()});
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoInstanceName> const& p) { writeObjectPath(op, ch, out, p); });
    }
};


// --- Pulled enumerations and ExecQuery -------------------------------------

// The parameters every Open shares (DSP0200 1.3): the filter, the idle time
// the enumeration may spend between requests, continue-on-error and the size
// of the first batch (absent: 0).
template <class Base>
Table<Base> withOpenParams(Table<Base> table, bool filterIsTheQuery = false) {
    ParamPresence const filter = filterIsTheQuery ? Required : Optional;
    table.push_back(param<Base>(&Base::setFilterQueryLanguage, "FilterQueryLanguage", filter, &ParamReaders::optionalString));
    table.push_back(param<Base>(&Base::setFilterQuery, "FilterQuery", filter, &ParamReaders::optionalString));
    table.push_back(param<Base>(&Base::setOperationTimeout, "OperationTimeout", Optional, &ParamReaders::operationTimeout));
    table.push_back(boolParam<Base>(&Base::setContinueOnError, "ContinueOnError"));
    table.push_back(param<Base>(&Base::setMaxObjectCount, "MaxObjectCount", Optional, &ParamReaders::uint32));
    return table;
}

// The InstanceName of the association Opens: the instance the traversal
// starts from.
template <class Base>
ParamSpec<Base> sourceInstanceParam() {
    return instanceNameParam<Base>(&Base::setSourceInstance, "InstanceName");
}

// The Pulls' parameters: the context and the size of the batch.
template <class Base>
Table<Base> const& pullParams() {
    static Table<Base> const table = {
        param<Base>(&Base::setEnumerationContext, "EnumerationContext", Required, &ParamReaders::string),
        param<Base>(&Base::setMaxObjectCount, "MaxObjectCount", Required, &ParamReaders::uint32),
    };
    return table;
}

// How the results of the pulled enumerations are written.
struct PulledItems {
    static void withPath(ResponseChannel& ch, std::string& out, KVOSmrPtr<IKivoObject> const& i) {
        if (i) ch.dataWriter().writeInstanceWithPath(out, *i);
    }
    // The association Opens carry their instances as values.
    static void valueWithPath(ResponseChannel& ch, std::string& out, KVOSmrPtr<IKivoValue> const& v) {
        if (KVOSmrPtr<IKivoObject> i = v ? v->getInstance() : nullptr) ch.dataWriter().writeInstanceWithPath(out, *i);
    }
    static void path(ResponseChannel& ch, std::string& out, KVOSmrPtr<IKivoInstanceName> const& p) {
        if (p) ch.dataWriter().writeInstancePath(out, *p);
    }
    static void instance(ResponseChannel& ch, std::string& out, KVOSmrPtr<IKivoObject> const& i) {
        if (i) ch.dataWriter().writeInstance(out, *i);
    }
};

// A pulled response: the batch, then EndOfSequence and EnumerationContext
// (after what `more` writes, for OpenQueryInstances' QueryResultClass).
template <class Base, class Item>
void writePulled(Base& op, ResponseChannel& ch, Item item, ResponseChannel::ContentWriter const& more = {}) {
    ch.writeResults(
        op, [&](std::string& out, auto const& result) { item(ch, out, result); },
        [&](std::string& out) {
            if (more) more(out);
            ResponseChannel::writePullValues(out, op.getEndOfSequence(), op.getEnumerationContext());
        });
}

struct OpenEnumerateInstancesTraits {
    using Base = OpenEnumerateInstancesOperationBase;
    static constexpr char const* name = "OpenEnumerateInstances";
    static Table<Base> const& params() {
        static Table<Base> const table = withOpenParams<Base>({
            classNameParam<Base>(Required),
            boolParam<Base>(&Base::setDeepInheritance, "DeepInheritance"),
            boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"),
            propertyListParam<Base>(),
        });
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::withPath); }
};

struct OpenEnumerateInstancePathsTraits {
    using Base = OpenEnumerateInstancePathsOperationBase;
    static constexpr char const* name = "OpenEnumerateInstancePaths";
    static Table<Base> const& params() {
        static Table<Base> const table = withOpenParams<Base>({classNameParam<Base>(Required)});
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::path); }
};

struct OpenReferenceInstancesTraits {
    using Base = OpenReferenceInstancesOperationBase;
    static constexpr char const* name = "OpenReferenceInstances";
    static Table<Base> const& params() {
        static Table<Base> const table = withOpenParams<Base>(joined<Base>({
            {sourceInstanceParam<Base>()},
            referenceFilters<Base>(),
            {boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"), propertyListParam<Base>()},
        }));
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::valueWithPath); }
};

struct OpenReferenceInstancePathsTraits {
    using Base = OpenReferenceInstancePathsOperationBase;
    static constexpr char const* name = "OpenReferenceInstancePaths";
    static Table<Base> const& params() {
        static Table<Base> const table =
            withOpenParams<Base>(joined<Base>({{sourceInstanceParam<Base>()}, referenceFilters<Base>()}));
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::path); }
};

struct OpenAssociatorInstancesTraits {
    using Base = OpenAssociatorInstancesOperationBase;
    static constexpr char const* name = "OpenAssociatorInstances";
    static Table<Base> const& params() {
        static Table<Base> const table = withOpenParams<Base>(joined<Base>({
            {sourceInstanceParam<Base>()},
            associatorFilters<Base>(),
            {boolParam<Base>(&Base::setClassOrigin, "IncludeClassOrigin"), propertyListParam<Base>()},
        }));
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::valueWithPath); }
};

struct OpenAssociatorInstancePathsTraits {
    using Base = OpenAssociatorInstancePathsOperationBase;
    static constexpr char const* name = "OpenAssociatorInstancePaths";
    static Table<Base> const& params() {
        static Table<Base> const table =
            withOpenParams<Base>(joined<Base>({{sourceInstanceParam<Base>()}, associatorFilters<Base>()}));
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::path); }
};

struct OpenQueryInstancesTraits {
    using Base = OpenQueryInstancesOperationBase;
    static constexpr char const* name = "OpenQueryInstances";
    static Table<Base> const& params() {
        static Table<Base> const table = withOpenParams<Base>(
            {boolParam<Base>(&Base::setReturnQueryResultClass, "ReturnQueryResultClass")}, true);
        return table;
    }
    // QueryResultClass when asked for (and found), before the pull values.
    static void write(Base& op, ResponseChannel& ch) {
        writePulled(op, ch, &PulledItems::instance, [&](std::string& out) {
            if (!op.getReturnQueryResultClass()) return;
            if (KVOSmrPtr<IKivoClass> cls = op.getQueryResultClass()) {
                out += "<PARAMVALUE NAME=\"QueryResultClass\">";
                ch.dataWriter().writeClass(out, cls);
                out += "</PARAMVALUE>";
            }
        });
    }
};

struct PullInstancesWithPathTraits {
    using Base = PullInstancesWithPathOperationBase;
    static constexpr char const* name = "PullInstancesWithPath";
    static Table<Base> const& params() { return pullParams<Base>(); }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::withPath); }
};

struct PullInstancePathsTraits {
    using Base = PullInstancePathsOperationBase;
    static constexpr char const* name = "PullInstancePaths";
    static Table<Base> const& params() { return pullParams<Base>(); }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::path); }
};

struct PullInstancesTraits {
    using Base = PullInstancesOperationBase;
    static constexpr char const* name = "PullInstances";
    static Table<Base> const& params() { return pullParams<Base>(); }
    static void write(Base& op, ResponseChannel& ch) { writePulled(op, ch, &PulledItems::instance); }
};

struct CloseEnumerationTraits {
    using Base = CloseEnumerationOperationBase;
    static constexpr char const* name = "CloseEnumeration";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            param<Base>(&Base::setEnumerationContext, "EnumerationContext", Required, &ParamReaders::string),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) { ch.writeSingle(op, {}); }
};

// ExecQuery (whole instances, SELECT *): VALUE.OBJECTWITHPATH per instance.
struct ExecQueryTraits {
    using Base = ExecQueryOperationBase;
    static constexpr char const* name = "ExecQuery";
    static Table<Base> const& params() {
        static Table<Base> const table = {
            param<Base>(&Base::setFilterQueryLanguage, "QueryLanguage", Required, &ParamReaders::string),
            param<Base>(&Base::setFilterQuery, "Query", Required, &ParamReaders::string),
        };
        return table;
    }
    static void write(Base& op, ResponseChannel& ch) {
        ch.writeStream(op, [&](std::string& out, KVOSmrPtr<IKivoObject> const& i) {
            if (i) ch.dataWriter().writeObjectWithPath(out, *i);
        });
    }
};

// --- Extrinsic methods -------------------------------------------------------

struct InvokeMethodTraits {
    using Base = KivoInvokeMethodOperationBase;

    // The method's name, its target (an instance path; for a call on a class
    // only the class name, the instance name staying null) and its
    // PARAMVALUEs, typed by PARAMTYPE when given.
    static void bind(Base& op, CIMXMLRequest const& request) {
        op.setOperationName(request.methodName());
        pugi::xml_node target = request.target();
        KVOString const ns = request.nameSpace();
        if (std::string_view(target.name()) == "INSTANCENAME") {
            KVOSmrPtr<IKivoInstanceName> path = reader::instancePath(target, ns);
            op.setClassName(path->getClassName());
            op.setInstanceName(path);
        } else {
            op.setClassName(reader::className(target));
        }
        auto inputs = KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter>>>(
            new KVOValSlist<KVOSmrPtr<IKivoActualParameter>>());
        std::vector<std::string> names;
        for (pugi::xml_node p : request.params()) {
            std::string name = p.attribute("NAME").value();
            for (std::string const& seen : names) {
                if (text::equalsIgnoreCase(seen, name)) reader::invalid("parameter " + name + " given twice");
            }
            names.push_back(name);
            KVOSmrPtr<IKivoValue> value = reader::parameterValue(p, p.attribute("PARAMTYPE").value(), ns);
            inputs->append(KVOSmrPtr<IKivoActualParameter>(new CKivoActualParameter(name, value)));
        }
        op.setInputParameters(inputs);
    }

    static void write(Base& op, ResponseChannel& ch) {
        ch.writeSingle(
            op,
            [&](std::string& out) {
                CIMXMLDataWriter& w = ch.dataWriter();
                auto typeOf = [](IKivoValue const& v) {
                    return v.getCIMType() == KVOCIMType::Reference ? std::string("reference")
                                                                   : CIMXMLDataWriter::typeName(v.getCIMType());
                };
                if (KVOSmrPtr<IKivoValue> ret = op.getReturn()) {
                    out += "<RETURNVALUE PARAMTYPE=\"" + typeOf(*ret) + "\">";
                    w.writeValue(out, *ret);
                    out += "</RETURNVALUE>";
                }
                if (auto outputs = op.getOutputParameters()) {
                    for (KVOSmrPtr<IKivoActualParameter> const& p : *outputs) {
                        if (!p) continue;
                        out += "<PARAMVALUE NAME=\"" + text::escape(p->getName().str()) + "\"";
                        KVOSmrPtr<IKivoValue> v = p->getValue();
                        if (v) out += " PARAMTYPE=\"" + typeOf(*v) + "\"";
                        out += ">";
                        if (v) w.writeValue(out, *v);
                        out += "</PARAMVALUE>";
                    }
                }
            },
            false);
    }
};

// --- Building ----------------------------------------------------------------

// Whether the base's constructor takes the capacity of its result collection
// (the streamed operations whose capacity the adapter chooses).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
template <class Base>
struct ConstructorProbe final : Base {
    using Base::Base;
    bool isValid() const override { return false; }
    void writeResponse(KVOGenericHTTPOStream&) override {}
};
#pragma GCC diagnostic pop
template <class Base>
constexpr bool takesBound = std::is_constructible_v<ConstructorProbe<Base>, IKivoOperationHandlerContext*, unsigned>;

template <class Traits>
KVOSmrPtr<KivoOperationBase> build(CIMXMLRequest const& request, ResponseChannel& channel,
                                   IKivoOperationHandlerContext* context, OperationSettings const& settings) {
    using Base = typename Traits::Base;
    CIMXMLOperation<Traits>* op;
    if constexpr (std::is_base_of_v<CloseEnumerationOperationBase, Base>) {
        op = new CIMXMLOperation<Traits>(channel, context, KVOString());  // the context is a parameter
    } else if constexpr (takesBound<Base>) {
        op = new CIMXMLOperation<Traits>(channel, context, settings.streamBound);
    } else {
        op = new CIMXMLOperation<Traits>(channel, context);
    }
    KVOSmrPtr<KivoOperationBase> held(static_cast<KivoOperationBase*>(op));
    op->setNameSpace(request.nameSpace());
    try {
        if constexpr (requires { Traits::params(); }) {
            bindParams<Base>(*op, Traits::params(), request.params(), request.nameSpace());
        } else {
            Traits::bind(*op, request);
        }
    } catch (KivoBaseException const& e) {
        op->setErrorContext(e);
    } catch (std::exception const& e) {
        op->setErrorContext(AdapterException("CIM_ERR_FAILED", "cimxmlpa", "CIMXMLAdapter", e.what(), 1));
    }
    return held;
}

struct IntrinsicEntry {
    std::string_view name;
    KVOSmrPtr<KivoOperationBase> (*build)(CIMXMLRequest const&, ResponseChannel&, IKivoOperationHandlerContext*,
                                          OperationSettings const&);
};

template <class Traits>
constexpr IntrinsicEntry entry() {
    return {Traits::name, &build<Traits>};
}

constexpr IntrinsicEntry intrinsics[] = {
    entry<GetClassTraits>(),
    entry<EnumerateClassesTraits>(),
    entry<EnumerateClassNamesTraits>(),
    entry<GetInstanceTraits>(),
    entry<EnumerateInstancesTraits>(),
    entry<EnumerateInstanceNamesTraits>(),
    entry<GetPropertyTraits>(),
    entry<SetPropertyTraits>(),
    entry<CreateInstanceTraits>(),
    entry<ModifyInstanceTraits>(),
    entry<DeleteInstanceTraits>(),
    entry<AssociatorsTraits>(),
    entry<AssociatorNamesTraits>(),
    entry<ReferencesTraits>(),
    entry<ReferenceNamesTraits>(),
    entry<GetQualifierTraits>(),
    entry<EnumerateQualifiersTraits>(),
    entry<CreateClassTraits>(),
    entry<ModifyClassTraits>(),
    entry<DeleteClassTraits>(),
    entry<SetQualifierTraits>(),
    entry<DeleteQualifierTraits>(),
    entry<OpenEnumerateInstancesTraits>(),
    entry<OpenEnumerateInstancePathsTraits>(),
    entry<OpenReferenceInstancesTraits>(),
    entry<OpenReferenceInstancePathsTraits>(),
    entry<OpenAssociatorInstancesTraits>(),
    entry<OpenAssociatorInstancePathsTraits>(),
    entry<OpenQueryInstancesTraits>(),
    entry<PullInstancesWithPathTraits>(),
    entry<PullInstancePathsTraits>(),
    entry<PullInstancesTraits>(),
    entry<CloseEnumerationTraits>(),
    entry<ExecQueryTraits>(),
};

IntrinsicEntry const* findIntrinsic(std::string_view name) {
    for (IntrinsicEntry const& e : intrinsics) {
        if (text::equalsIgnoreCase(e.name, name)) return &e;
    }
    return nullptr;
}

}  // namespace

bool isImplementedIntrinsic(std::string_view methodName) {
    return findIntrinsic(methodName) != nullptr;
}

KVOSmrPtr<KivoOperationBase> buildOperation(CIMXMLRequest const& request, ResponseChannel& channel,
                                            IKivoOperationHandlerContext* context, OperationSettings const& settings) {
    if (!request.isIntrinsic()) return build<InvokeMethodTraits>(request, channel, context, settings);
    if (isRowQuery(request)) return buildExecuteQuery(request, channel, context, settings);
    IntrinsicEntry const* e = findIntrinsic(request.methodName());
    return e != nullptr ? e->build(request, channel, context, settings) : nullptr;
}

}  // namespace cimxmlpa
