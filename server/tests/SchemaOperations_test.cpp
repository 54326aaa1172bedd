// The object manager's schema operations on the default model: every refusal
// with its code and reason, the changes that succeed, and readers that keep
// working while a writer changes the schema. Classes and declarations are
// written as the CIM-XML a client sends and read with the adapter's reader.
#include "objectmanager/CimStatus.h"
#include "objectmanager/DefaultModel.h"
#include "objectmanager/ObjectManager.h"

#include "CIMXMLDataReader.h"
#include "KivoUtilities/KivoBaseException.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

using namespace kivo::om;

template <class T, class Read>
T parsed(std::string const& xml, Read read) {
    pugi::xml_document doc;
    EXPECT_TRUE(doc.load_string(xml.c_str())) << xml;
    return read(doc.document_element());
}
KVOSmrPtr<IKivoClass> cls(std::string const& xml) {
    return parsed<KVOSmrPtr<IKivoClass>>(xml, cimxmlpa::reader::classDeclaration);
}
KVOSmrPtr<qora::IQualifierDef> decl(std::string const& xml) {
    return parsed<KVOSmrPtr<qora::IQualifierDef>>(xml, cimxmlpa::reader::qualifierDeclaration);
}

std::string q(char const* name, char const* type, char const* value) {
    return std::string("<QUALIFIER NAME=\"") + name + "\" TYPE=\"" + type + "\"><VALUE>" + value + "</VALUE></QUALIFIER>";
}
std::string const kKey = q("Key", "boolean", "true");
std::string prop(char const* name, char const* type, std::string const& inner = "") {
    return std::string("<PROPERTY NAME=\"") + name + "\" TYPE=\"" + type + "\">" + inner + "</PROPERTY>";
}
std::string ref(char const* name, char const* target) {
    return std::string("<PROPERTY.REFERENCE NAME=\"") + name + "\" REFERENCECLASS=\"" + target + "\"/>";
}
std::string klass(char const* name, char const* super, std::string const& inner) {
    return std::string("<CLASS NAME=\"") + name + "\"" + (*super ? std::string(" SUPERCLASS=\"") + super + "\"" : "") +
           ">" + inner + "</CLASS>";
}

// The code and message an action raises (0 and "" when it raises nothing).
std::pair<int, std::string> outcome(std::function<void()> const& action) {
    try {
        action();
    } catch (KivoBaseException const& e) {
        return {e.getCode(), e.getMessage().str()};
    }
    return {0, ""};
}

class Schema : public ::testing::Test {
protected:
    Schema() {
        loadDefaultModel(om, ModelSettings{0});
        om.setQualifier(kCimv2, decl("<QUALIFIER.DECLARATION NAME=\"Override\" TYPE=\"string\" TOSUBCLASS=\"false\">"
                                     "<SCOPE PROPERTY=\"true\" REFERENCE=\"true\" METHOD=\"true\"/></QUALIFIER.DECLARATION>"));
        om.createClass(kCimv2, cls(klass("Test_Base", "", q("Description", "string", "base") +
                                                              prop("Id", "string", kKey) +
                                                              prop("Size", "uint32", q("Units", "string", "Bytes")))));
        om.createClass(kCimv2, cls(klass("Test_Leaf", "Test_Base", prop("Extra", "uint8"))));
        om.createClass(kCimv2, cls(klass("Test_Ref", "", prop("Id", "string", kKey) + ref("Leaf", "Test_Leaf"))));
    }
    ObjectManager om;
};

TEST_F(Schema, RefusalsCarryTheirCodeAndReason) {
    enum Op { Create, Modify, Delete, SetQ, DeleteQ };
    struct Case {
        char const* what;
        Op op;
        std::string arg;  // class or declaration XML, or a name
        int code;
        char const* reason;
        char const* nameSpace = kCimv2;
    };
    std::string const overrideId = q("Override", "string", "Id");
    std::vector<Case> const cases = {
        {"unknown namespace", Create, klass("Test_N", "", ""), CIM_ERR_INVALID_NAMESPACE, "no namespace", "root/none"},
        {"class exists", Create, klass("test_base", "", ""), CIM_ERR_ALREADY_EXISTS, "already exists"},
        {"unknown superclass", Create, klass("Test_N", "Test_Nope", ""), CIM_ERR_INVALID_SUPERCLASS, "no superclass Test_Nope"},
        {"undeclared qualifier", Create, klass("Test_N", "", q("Colour", "string", "red")), CIM_ERR_INVALID_PARAMETER,
         "qualifier Colour is not declared"},
        {"qualifier out of scope", Create, klass("Test_N", "", kKey), CIM_ERR_INVALID_PARAMETER,
         "qualifier Key is not allowed on a class"},
        {"qualifier of another type", Create, klass("Test_N", "", q("Description", "uint32", "7")),
         CIM_ERR_INVALID_PARAMETER, "qualifier Description has a value of another type"},
        {"qualifier twice", Create, klass("Test_N", "", q("Description", "string", "a") + q("Description", "string", "b")),
         CIM_ERR_INVALID_PARAMETER, "given twice"},
        {"DisableOverride overridden", Create,
         klass("Test_N", "Test_Base", prop("Id", "string", overrideId + q("Key", "boolean", "false"))),
         CIM_ERR_INVALID_PARAMETER, "qualifier Key has the DisableOverride flavor"},
        {"redeclared without Override", Create, klass("Test_N", "Test_Base", prop("Size", "uint32")),
         CIM_ERR_INVALID_PARAMETER, "property Size is inherited; redeclaring it needs the Override qualifier"},
        {"Override of nothing", Create, klass("Test_N", "", prop("Id", "string", overrideId)), CIM_ERR_INVALID_PARAMETER,
         "Override names Id, which no superclass declares"},
        {"override of another type", Create, klass("Test_N", "Test_Base", prop("Id", "uint32", overrideId)),
         CIM_ERR_INVALID_PARAMETER, "property Id overrides one of another type"},
        {"new key under keys", Create, klass("Test_N", "Test_Base", prop("Other", "string", kKey)),
         CIM_ERR_INVALID_PARAMETER, "key Other is new, but superclass Test_Base already has keys"},
        {"array key", Create, klass("Test_N", "", "<PROPERTY.ARRAY NAME=\"Ids\" TYPE=\"string\">" + kKey + "</PROPERTY.ARRAY>"),
         CIM_ERR_INVALID_PARAMETER, "key property Ids cannot be an array"},
        {"reference to an unknown class", Create, klass("Test_N", "", ref("To", "Test_Nope")), CIM_ERR_INVALID_PARAMETER,
         "reference To names class Test_Nope, which is not defined"},
        {"duplicate property", Create, klass("Test_N", "", prop("A", "string") + prop("a", "uint8")),
         CIM_ERR_INVALID_PARAMETER, "duplicate property a"},
        {"modify unknown", Modify, klass("Test_Nope", "", ""), CIM_ERR_NOT_FOUND, "no class Test_Nope"},
        {"modify with children", Modify, klass("Test_Base", "", ""), CIM_ERR_CLASS_HAS_CHILDREN, "has subclasses"},
        {"modify with instances", Modify, klass("KIVO_DiskDrive", "KIVO_LogicalDevice", ""), CIM_ERR_CLASS_HAS_INSTANCES,
         "class KIVO_DiskDrive has instances"},
        {"modify a provider's class", Modify, klass("KIVO_ScaleItem", "", ""), CIM_ERR_CLASS_HAS_INSTANCES,
         "come from a provider"},
        {"modify into a malformed class", Modify, klass("Test_Ref", "", ref("Leaf", "Test_Nope")),
         CIM_ERR_INVALID_PARAMETER, "which is not defined"},
        {"delete unknown", Delete, "Test_Nope", CIM_ERR_NOT_FOUND, "no class Test_Nope"},
        {"delete with children", Delete, "KIVO_LogicalDevice", CIM_ERR_CLASS_HAS_CHILDREN, "has subclasses"},
        {"delete with instances", Delete, "KIVO_DiskDrive", CIM_ERR_CLASS_HAS_INSTANCES, "has instances"},
        {"delete a provider's class", Delete, "KIVO_ScaleItem", CIM_ERR_CLASS_HAS_INSTANCES, "come from a provider"},
        {"delete a referenced class", Delete, "Test_Leaf", CIM_ERR_FAILED, "named by the reference Test_Ref.Leaf"},
        {"delete unknown qualifier", DeleteQ, "Colour", CIM_ERR_NOT_FOUND, "no qualifier declaration Colour"},
        {"delete a qualifier in use", DeleteQ, "Units", CIM_ERR_FAILED, "qualifier Units is used by class"},
        {"retype a qualifier in use", SetQ,
         "<QUALIFIER.DECLARATION NAME=\"Units\" TYPE=\"uint32\"><SCOPE PROPERTY=\"true\"/></QUALIFIER.DECLARATION>",
         CIM_ERR_FAILED, "qualifier Units changes its type but is used by class"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        auto const [code, message] = outcome([&] {
            switch (c.op) {
                case Create: om.createClass(c.nameSpace, cls(c.arg)); break;
                case Modify: om.modifyClass(c.nameSpace, cls(c.arg)); break;
                case Delete: om.deleteClass(c.nameSpace, c.arg); break;
                case SetQ: om.setQualifier(c.nameSpace, decl(c.arg)); break;
                case DeleteQ: om.deleteQualifier(c.nameSpace, c.arg); break;
            }
        });
        EXPECT_EQ(code, c.code) << message;
        EXPECT_NE(message.find(c.reason), std::string::npos) << message;
    }
    // Nothing refused left a trace.
    EXPECT_FALSE(om.repository().getClass(kCimv2, "Test_N"));
    EXPECT_TRUE(om.repository().getClass(kCimv2, "Test_Leaf"));
    EXPECT_EQ(om.getQualifier(kCimv2, "Units")->getCIMType(), KVOCIMType::String);
}

TEST_F(Schema, ChangesAreSeenByTheNextRead) {
    ClassView all;
    all.includeClassOrigin = true;
    // A class as GetClass answers it (inherited members marked propagated)
    // comes back as a modification: the propagated part is taken as inherited.
    std::string const leafAsRead = klass("Test_Leaf", "Test_Base",
                                         "<PROPERTY NAME=\"Id\" TYPE=\"string\" PROPAGATED=\"true\">" + kKey +
                                             "</PROPERTY>" + prop("Extra", "uint8") + prop("Added", "string"));
    om.modifyClass(kCimv2, cls(leafAsRead));
    KVOSmrPtr<IKivoClass> leaf = om.getClass(kCimv2, "Test_Leaf", all);
    ASSERT_TRUE(leaf->getProperty("Added"));
    EXPECT_TRUE(leaf->getProperty("Size")->isPropagated());
    EXPECT_EQ(leaf->getProperty("Added")->getClassOrigin(), "Test_Leaf");
    EXPECT_TRUE(KVOQualifierFlag(leaf->getProperty("Id")->getQualifier("Key")));

    om.deleteClass(kCimv2, "Test_Ref");
    om.deleteClass(kCimv2, "test_leaf");
    EXPECT_EQ(outcome([&] { om.getClass(kCimv2, "Test_Leaf", all); }).first, CIM_ERR_INVALID_CLASS);
    EXPECT_TRUE(om.repository().subclasses(kCimv2, "Test_Base", false).empty());
    om.deleteClass(kCimv2, "Test_Base");  // its last subclass went, so it may go too

    om.setQualifier(kCimv2, decl("<QUALIFIER.DECLARATION NAME=\"Colour\" TYPE=\"string\" TOSUBCLASS=\"false\">"
                                 "<SCOPE CLASS=\"true\" PROPERTY=\"true\"/><VALUE>red</VALUE></QUALIFIER.DECLARATION>"));
    qora::IQualifierDef const* colour = om.getQualifier(kCimv2, "colour");
    EXPECT_EQ(colour->getDefault()->toString(), "red");
    EXPECT_EQ(colour->getScopes(), KVOQualifierScope::CLASS | KVOQualifierScope::PROPERTY);
    EXPECT_FALSE(colour->getFlavors().toSubclass);
    om.createClass(kCimv2, cls(klass("Test_Painted", "", q("Colour", "string", "blue"))));
    // Replacing a declaration in use with one of the same type is allowed;
    // the old one stays valid for whoever holds it.
    om.setQualifier(kCimv2, decl("<QUALIFIER.DECLARATION NAME=\"Colour\" TYPE=\"string\"><SCOPE CLASS=\"true\"/>"
                                 "</QUALIFIER.DECLARATION>"));
    EXPECT_EQ(colour->getDefault()->toString(), "red");
    om.deleteClass(kCimv2, "Test_Painted");
    om.deleteQualifier(kCimv2, "Colour");
    EXPECT_EQ(outcome([&] { om.getQualifier(kCimv2, "Colour"); }).first, CIM_ERR_NOT_FOUND);
}

TEST_F(Schema, ReadersEnumerateWhileAWriterCreatesAndDeletesClasses) {
    std::atomic<bool> done{false};
    std::atomic<long> reads{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r) {
        readers.emplace_back([&] {
            while (!done) {
                std::size_t seen = 0;
                om.enumerateClasses(kCimv2, "", true, ClassView())([&](KVOSmrPtr<IKivoClass> const& c) {
                    seen += c->getProperties().size();
                    return true;
                });
                for (auto const* d : om.enumerateQualifiers(kCimv2)) seen += d->getName().str().size();
                if (KVOSmrPtr<IKivoClass> c = om.repository().getClass(kCimv2, "Test_Churn"))
                    seen += c->getProperties().size();
                EXPECT_GT(seen, 0u);
                ++reads;
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        om.createClass(kCimv2, cls(klass("Test_Churn", "Test_Base", prop("N", "uint32"))));
        om.setQualifier(kCimv2, decl("<QUALIFIER.DECLARATION NAME=\"Churn\" TYPE=\"uint32\"><SCOPE CLASS=\"true\"/>"
                                     "</QUALIFIER.DECLARATION>"));
        om.modifyClass(kCimv2, cls(klass("Test_Churn", "Test_Base", prop("M", "string"))));
        om.deleteClass(kCimv2, "Test_Churn");
        om.deleteQualifier(kCimv2, "Churn");
    }
    while (reads < 10) std::this_thread::yield();
    done = true;
    for (std::thread& t : readers) t.join();
    EXPECT_FALSE(om.repository().getClass(kCimv2, "Test_Churn"));
}

// A journal that records what it is told, and raises instead while `fail`
// says so (a CIM status, or -1 for an exception of another kind).
class FakeJournal : public SchemaJournal {
public:
    int fail = 0;
    std::vector<std::string> calls;

    void namespaceAdded(KVOString const& ns) override { note("namespace " + ns.str()); }
    void qualifierSet(KVOString const& ns, qora::IQualifierDef const& d) override {
        note("qualifier " + ns.str() + " " + d.getName().str());
    }
    void qualifierDeleted(KVOString const& ns, KVOString const& name) override {
        note("-qualifier " + ns.str() + " " + name.str());
    }
    void classSet(KVOString const& ns, IKivoClass const& c) override {
        note("class " + ns.str() + " " + c.getName().str() + " " + std::to_string(c.getProperties().size()));
    }
    void classDeleted(KVOString const& ns, KVOString const& name) override { note("-class " + ns.str() + " " + name.str()); }

private:
    void note(std::string call) {
        if (fail == -1) throw std::runtime_error("disk full");
        if (fail) raise(static_cast<CimStatus>(fail), "FakeJournal", "cannot write");
        calls.push_back(std::move(call));
    }
};

// Every schema change reaches the journal with the resolved class (or the
// declaration) as the repository now holds it; a journal that raises leaves
// the repository as it was, and the operation fails with its error.
TEST_F(Schema, TheJournalSeesEveryChangeAndItsFailureUndoesIt) {
    FakeJournal journal;
    om.setJournal(&journal);
    std::string const colour = "<QUALIFIER.DECLARATION NAME=\"Colour\" TYPE=\"string\"><SCOPE CLASS=\"true\"/>"
                               "</QUALIFIER.DECLARATION>";
    struct Case {
        char const* what;
        std::function<void()> change;
        char const* recorded;
    };
    // In order: each case starts from the repository the ones before left.
    std::vector<Case> const cases = {
        {"create", [&] { om.createClass(kCimv2, cls(klass("Test_New", "Test_Base", prop("N", "uint8")))); },
         "class root/cimv2 Test_New 3"},
        {"modify", [&] { om.modifyClass(kCimv2, cls(klass("Test_New", "Test_Base", prop("N", "uint8") + prop("M", "string")))); },
         "class root/cimv2 Test_New 4"},
        {"delete", [&] { om.deleteClass(kCimv2, "test_new"); }, "-class root/cimv2 Test_New"},
        {"set qualifier", [&] { om.setQualifier(kCimv2, decl(colour)); }, "qualifier root/cimv2 Colour"},
        {"delete qualifier", [&] { om.deleteQualifier(kCimv2, "colour"); }, "-qualifier root/cimv2 Colour"},
    };
    auto snapshot = [&] {
        std::string s;
        for (KVOSmrPtr<IKivoClass> const& c : om.repository().classes(kCimv2))
            s += c->getName().str() + ":" + std::to_string(c->getProperties().size()) + " ";
        for (auto const* d : om.enumerateQualifiers(kCimv2)) s += d->getName().str() + " ";
        return s;
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        for (int failure : {int(CIM_ERR_ACCESS_DENIED), -1}) {
            journal.fail = failure;
            std::string const before = snapshot();
            auto const [code, message] = outcome(c.change);
            EXPECT_EQ(code, failure == -1 ? int(CIM_ERR_FAILED) : failure);
            EXPECT_NE(message.find(failure == -1 ? "disk full" : "cannot write"), std::string::npos) << message;
            EXPECT_EQ(snapshot(), before) << "a change the journal refused stayed";
        }
        journal.fail = 0;
        journal.calls.clear();
        EXPECT_EQ(outcome(c.change).first, 0);
        EXPECT_EQ(journal.calls, std::vector<std::string>{c.recorded});
    }
    // Refusals of the object manager's own never reach the journal.
    EXPECT_EQ(outcome([&] { om.deleteClass(kCimv2, "Test_Nope"); }).first, CIM_ERR_NOT_FOUND);
    EXPECT_EQ(journal.calls.size(), 1u);
}

}  // namespace
