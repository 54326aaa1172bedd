// Fuzz target of the object manager's query language over untrusted query
// text: parse, describe the condition, bind to a class with a property of
// every comparable kind (and an array), evaluate against an instance with
// values and one without, project, make rows and the result class.
//
// Input: the query text, as an ExecQuery's Query parameter carries it.
// Invariants checked beyond the sanitizers: only wql::QueryError escapes,
// and its position lies within the text (or one past its end).
#include "objectmanager/Wql.h"

#include "KivoUtilities/CKivoData.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace {

using namespace kivo::om;
using T = KVOCIMType;

struct Fixture {
    KVOSmrPtr<IKivoClass> cls;
    std::vector<KVOSmrPtr<IKivoObject>> instances;
};

KVOSmrPtr<IKivoProperty> prop(char const* name, T type, KVOSmrPtr<IKivoValue> value, bool array = false) {
    return KVOSmrPtr<IKivoProperty>(new CKivoProperty(name, type, array, std::move(value)));
}

Fixture const& fixture() {
    static Fixture const f = [] {
        Fixture x;
        auto path = KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName("root/cimv2", "Fz_Item", {{"Name", "a"}}));
        KVOValSlist<KVOSmrPtr<IKivoProperty>> full;
        full.append(prop("Name", T::String, CKivoValue::makeString("a'b")));
        full.append(prop("Count", T::UInt32, CKivoValue::makeUnsigned(T::UInt32, 42)));
        full.append(prop("Delta", T::SInt64, CKivoValue::makeSigned(T::SInt64, -7)));
        full.append(prop("Ratio", T::Real64, CKivoValue::makeReal(T::Real64, 0.5)));
        full.append(prop("Flag", T::Boolean, CKivoValue::makeBoolean(true)));
        full.append(prop("Letter", T::Char16, CKivoValue::makeChar16("x")));
        full.append(prop("When", T::DateTime, CKivoValue::makeDateTime("20240101120000.000000+000")));
        full.append(prop("Owner", T::Reference, CKivoValue::makeReference(path)));
        full.append(prop("Tags", T::String, CKivoValue::makeArray(T::String, {CKivoValue::makeString("t")}), true));
        KVOValSlist<KVOSmrPtr<IKivoProperty>> empty;
        CKivoClass::Members m;
        for (KVOSmrPtr<IKivoProperty> const& p : full) {
            m.properties.push_back(prop(p->getName().c_str(), p->getCIMType(), nullptr, p->isArray()));
            empty.append(prop(p->getName().c_str(), p->getCIMType(), nullptr, p->isArray()));
        }
        x.cls = KVOSmrPtr<IKivoClass>(new CKivoClass("Fz_Item", std::move(m)));
        x.instances.push_back(KVOSmrPtr<IKivoObject>(new CKivoObject("Fz_Item", full, path)));
        x.instances.push_back(KVOSmrPtr<IKivoObject>(new CKivoObject("Fz_Item", empty)));
        return x;
    }();
    return f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text(reinterpret_cast<char const*>(data), size);
    try {
        wql::Query q = wql::parse(text);
        if (q.where) static_cast<void>(wql::describe(*q.where));
        wql::BoundQuery const bound = wql::bind(std::move(q), fixture().cls);
        for (KVOSmrPtr<IKivoObject> const& o : fixture().instances) {
            if (!bound.matches(*o)) continue;
            static_cast<void>(bound.project(*o));
            static_cast<void>(bound.row(*o));
        }
        static_cast<void>(bound.resultClass());
    } catch (wql::QueryError const& e) {
        if (e.position() == 0 || e.position() > size + 1) __builtin_trap();
    }
    return 0;
}
