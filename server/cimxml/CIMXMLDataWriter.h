// Writes the platform's CIM data objects as DSP0201 elements: classes (with
// properties, methods, parameters and qualifiers), instances, instance names
// and paths, named instances, objects with their paths, typed values, arrays
// and references, qualifier declarations, and ERROR.
//
// One writer serves one response: it knows the host and namespace to put in
// full paths and whether class origins are asked for. With IncludeClassOrigin
// the CLASSORIGIN of each property is looked up in a
// cimxmlpa::ClassOriginDictionary of the object's class (the class itself for
// a class, the object manager's class for an instance), built once per class
// per response; a property the dictionary does not know keeps the origin it
// carries itself. All text goes through text::appendEscaped.
//
// Instances packed beside a property table (CKivoPackedObject) are written
// from XML prepared once per table and view for this writer: each property's
// element head (NAME, TYPE, CLASSORIGIN, PROPAGATED escaped and in place) and
// its closing tag, made by the same code that writes any other property, so
// that only the values are escaped per instance.
//
// Every function appends to `out`. Used on the adapter's thread only.
//
// Values nest (a reference's keys hold references, an embedded instance's
// properties hold embedded instances); writeValue recurses once per level and
// throws std::length_error past MAX_NESTING levels, so that no data can make
// the writer exhaust its stack. Requests cannot store data that deep (their
// references nest at most RequestLimits::maxNesting levels), so only a fault
// of the object manager meets it; the adapter then drops the connection.
#pragma once

#include "Cimom/ProtocolAdapter/Common/ClassOriginDictionary.h"
#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/IQualifierDef.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class IKivoOperationHandlerContext;

namespace cimxmlpa {

class CIMXMLDataWriter {
public:
    // `host` goes into the HOST of full paths; `nameSpace` is used for paths
    // that carry none. `context` (may be null) looks up the classes of
    // instances for their class origins.
    CIMXMLDataWriter(std::string host, KVOString nameSpace, IKivoOperationHandlerContext* context,
                     bool includeClassOrigin);

    // Whether CLASSORIGIN attributes are written (the operation's
    // IncludeClassOrigin, known once its parameters are read).
    void setIncludeClassOrigin(bool include) { _includeClassOrigin = include; }

    void writeClass(std::string& out, KVOSmrPtr<IKivoClass> const& cls);
    void writeClassName(std::string& out, KVOString const& name);
    void writeInstance(std::string& out, IKivoObject const& instance);
    void writeInstanceName(std::string& out, IKivoInstanceName const& path);
    // INSTANCEPATH: NAMESPACEPATH (HOST, LOCALNAMESPACEPATH) and INSTANCENAME.
    void writeInstancePath(std::string& out, IKivoInstanceName const& path);
    // VALUE.NAMEDINSTANCE (the instance's own path, or an empty INSTANCENAME
    // of its class when it carries none).
    void writeNamedInstance(std::string& out, IKivoObject const& instance);
    // VALUE.OBJECTWITHPATH for an instance or class carried as a value.
    void writeObjectWithPath(std::string& out, IKivoValue const& object);
    // VALUE.OBJECTWITHPATH for an instance (ExecQuery).
    void writeObjectWithPath(std::string& out, IKivoObject const& instance);
    // VALUE.INSTANCEWITHPATH: the instance's INSTANCEPATH (an empty
    // INSTANCENAME of its class when it carries no path) and the INSTANCE
    // (pulled enumerations).
    void writeInstanceWithPath(std::string& out, IKivoObject const& instance);
    // OBJECTPATH holding an INSTANCEPATH, or for `asClassPath` the CLASSPATH
    // of the path's class (the results of a class-level traversal).
    void writeObjectPath(std::string& out, IKivoInstanceName const& path, bool asClassPath);
    // VALUE, VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY.
    void writeValue(std::string& out, IKivoValue const& value);
    void writeQualifier(std::string& out, IKivoQualifier const& qualifier);
    void writeQualifierDeclaration(std::string& out, qora::IQualifierDef const& declaration);

    static constexpr int MAX_NESTING = 64;

    // ERROR with its CODE and DESCRIPTION.
    static void writeError(std::string& out, int code, std::string const& description);
    // The DSP0200 name of a CIM status code ("CIM_ERR_NOT_FOUND"), or
    // "CIM_ERR_<code>" for one it does not know.
    static std::string statusName(int code);
    // The DSP0201 TYPE of a value type ("uint32", ...); instances and classes
    // travel as strings (embedded objects).
    static std::string typeName(KVOCIMType type);

private:
    void writeProperty(std::string& out, IKivoProperty const& property, ClassOriginDictionary* origins);
    void writeMethod(std::string& out, IKivoMethod const& method);
    void writeQualifiers(std::string& out, std::vector<KVOSmrPtr<IKivoQualifier>> const& qualifiers);
    void writeScalarText(std::string& out, IKivoValue const& value);
    void writeLocalNamespacePath(std::string& out, KVOString const& nameSpace);
    // The instance's own INSTANCEPATH, or one without keys when it has none.
    void writeOwnInstancePath(std::string& out, IKivoObject const& instance);
    // <element> with the instance's path and the instance.
    void writeWithOwnPath(std::string& out, char const* element, IKivoObject const& instance);
    // NAMESPACEPATH with `host` (this response's host when empty).
    void writeNamespacePath(std::string& out, KVOString const& host, KVOString const& nameSpace);
    void writeClassPath(std::string& out, KVOString const& host, KVOString const& nameSpace, KVOString const& className);
    void writeKeyBinding(std::string& out, KVOKeyBinding const& key);
    // The dictionary of the object manager's class `className` (cached).
    ClassOriginDictionary* originsOfInstanceClass(KVOString const& className);

    // The prepared XML of a property table's instances under one view.
    struct Prepared {
        std::shared_ptr<CKivoPropertyTable const> table;  // keeps the key's address unique
        bool withOrigins = false;
        std::string instanceHead;               // <INSTANCE CLASSNAME="...">
        std::vector<std::string> heads, tails;  // per column: up to the value, after it
    };
    // Shared: writing a value may prepare another table (an embedded
    // instance) while this one is in use.
    std::shared_ptr<Prepared const> prepared(CKivoPackedObject const& instance);
    void writePacked(std::string& out, CKivoPackedObject const& instance);

    std::string const _host;
    KVOString const _nameSpace;
    IKivoOperationHandlerContext* const _context;
    bool _includeClassOrigin;
    int _depth = 0;  // writeValue calls under way
    std::map<std::string, std::unique_ptr<ClassOriginDictionary>> _origins;  // by lower-case class name
    std::vector<std::shared_ptr<Prepared const>> _prepared;  // few: one per table and view met in this response
};

}  // namespace cimxmlpa
