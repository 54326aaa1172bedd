#include "CIMXMLDataReader.h"
#include "CIMXMLDataWriter.h"

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KivoBaseException.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace cimxmlpa;

// The first element of `xml`, parsed into a document the caller keeps.
pugi::xml_node parse(pugi::xml_document& doc, std::string const& xml) {
    EXPECT_TRUE(doc.load_string(xml.c_str())) << xml;
    return doc.first_child();
}

KVOSmrPtr<IKivoValue> str(char const* s) {
    return CKivoValue::makeString(s);
}

KVOSmrPtr<IKivoInstanceName> diskPath(char const* id) {
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(
        "root/cimv2", "KIVO_DiskDrive", std::vector<KVOKeyBinding>{{"SystemName", str("host1")}, {"DeviceID", str(id)}},
        ""));
}

TEST(CIMXMLDataTest, WritesInstanceNamesWithTypedKeysAndReferences) {
    CIMXMLDataWriter w("h:1", "root/cimv2", nullptr, false);
    auto path = KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(
        "root/cimv2", "X",
        std::vector<KVOKeyBinding>{{"S", str("a<\"b\">&")},
                                   {"N", CKivoValue::makeUnsigned(KVOCIMType::UInt32, 7)},
                                   {"B", CKivoValue::makeBoolean(true)},
                                   {"R", CKivoValue::makeReference(diskPath("d0"))}},
        ""));
    std::string out;
    w.writeInstanceName(out, *path);
    EXPECT_EQ(out,
              "<INSTANCENAME CLASSNAME=\"X\">"
              "<KEYBINDING NAME=\"S\"><KEYVALUE VALUETYPE=\"string\">a&lt;&quot;b&quot;&gt;&amp;</KEYVALUE></KEYBINDING>"
              "<KEYBINDING NAME=\"N\"><KEYVALUE VALUETYPE=\"numeric\">7</KEYVALUE></KEYBINDING>"
              "<KEYBINDING NAME=\"B\"><KEYVALUE VALUETYPE=\"boolean\">TRUE</KEYVALUE></KEYBINDING>"
              "<KEYBINDING NAME=\"R\"><VALUE.REFERENCE><LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
              "<NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME=\"KIVO_DiskDrive\">"
              "<KEYBINDING NAME=\"SystemName\"><KEYVALUE VALUETYPE=\"string\">host1</KEYVALUE></KEYBINDING>"
              "<KEYBINDING NAME=\"DeviceID\"><KEYVALUE VALUETYPE=\"string\">d0</KEYVALUE></KEYBINDING></INSTANCENAME>"
              "</LOCALINSTANCEPATH></VALUE.REFERENCE></KEYBINDING></INSTANCENAME>");

    out.clear();
    w.writeObjectPath(out, *diskPath("d1"), false);
    EXPECT_EQ(out.rfind("<OBJECTPATH><INSTANCEPATH><NAMESPACEPATH><HOST>h:1</HOST><LOCALNAMESPACEPATH>", 0), 0u) << out;
    out.clear();
    w.writeObjectPath(out, CKivoInstanceName("root/cimv2", "X"), true);
    EXPECT_NE(out.find("<CLASSPATH><NAMESPACEPATH><HOST>h:1</HOST>"), std::string::npos) << out;
    EXPECT_NE(out.find("<CLASSNAME NAME=\"X\"/></CLASSPATH>"), std::string::npos) << out;
}

TEST(CIMXMLDataTest, WritesValuesArraysAndSpacesThatSurviveTrimming) {
    CIMXMLDataWriter w("h", "root/cimv2", nullptr, false);
    struct Case {
        KVOSmrPtr<IKivoValue> value;
        std::string xml;
    };
    std::vector<Case> const cases = {
        {str("x"), "<VALUE>x</VALUE>"},
        {str("  two  "), "<VALUE>&#32;&#32;two&#32;&#32;</VALUE>"},
        {str("a\nb"), "<VALUE>a&#10;b</VALUE>"},
        {CKivoValue::makeBoolean(false), "<VALUE>FALSE</VALUE>"},
        {CKivoValue::makeSigned(KVOCIMType::SInt16, -5), "<VALUE>-5</VALUE>"},
        {CKivoValue::makeArray(KVOCIMType::String, {str("a"), str("b&c")}),
         "<VALUE.ARRAY><VALUE>a</VALUE><VALUE>b&amp;c</VALUE></VALUE.ARRAY>"},
        {CKivoValue::makeArray(KVOCIMType::UInt8, {}), "<VALUE.ARRAY></VALUE.ARRAY>"},
    };
    for (Case const& c : cases) {
        std::string out;
        w.writeValue(out, *c.value);
        EXPECT_EQ(out, c.xml);
    }
}

TEST(CIMXMLDataTest, ReadsWhatItWritesForInstances) {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> props;
    props.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("DeviceID", KVOCIMType::String, false, str("d<0>"))));
    props.append(KVOSmrPtr<IKivoProperty>(
        new CKivoProperty("Capacity", KVOCIMType::UInt64, false, CKivoValue::makeUnsigned(KVOCIMType::UInt64, 1ull << 40))));
    props.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty(
        "Tags", KVOCIMType::String, true, CKivoValue::makeArray(KVOCIMType::String, {str("a"), str(" b ")}))));
    props.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("Empty", KVOCIMType::Real64, false, nullptr)));
    props.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("Ref", KVOCIMType::Reference, false,
                                                            CKivoValue::makeReference(diskPath("d9")), {}, "", false,
                                                            "KIVO_DiskDrive")));
    CKivoObject original("KIVO_DiskDrive", props, diskPath("d<0>"));

    CIMXMLDataWriter w("h", "root/cimv2", nullptr, false);
    std::string xml;
    w.writeNamedInstance(xml, original);
    pugi::xml_document doc;
    KVOSmrPtr<IKivoObject> back = reader::namedInstance(parse(doc, xml), "root/cimv2");

    EXPECT_EQ(back->getClassName(), "KIVO_DiskDrive");
    ASSERT_TRUE(back->getInstanceName());
    EXPECT_TRUE(back->getInstanceName()->sameAs(*original.getInstanceName()));
    ASSERT_EQ(back->getProperties().entries(), 5u);
    for (KVOSmrPtr<IKivoProperty> const& p : original.getProperties()) {
        KVOSmrPtr<IKivoProperty> q = back->getProperty(p->getName());
        ASSERT_TRUE(q) << p->getName();
        EXPECT_EQ(q->getCIMType(), p->getCIMType()) << p->getName();
        EXPECT_EQ(q->isArray(), p->isArray()) << p->getName();
        if (!p->getValue()) {
            EXPECT_FALSE(q->getValue()) << p->getName();
            continue;
        }
        ASSERT_TRUE(q->getValue()) << p->getName();
        EXPECT_TRUE(q->getValue()->sameValue(*p->getValue())) << p->getName() << ": " << q->getValue()->toString();
    }
    EXPECT_EQ(back->getProperty("Ref")->getReferenceClass(), "KIVO_DiskDrive");
}

// An instance packed beside a property table is written from prepared
// element heads; its bytes must be those of the same properties as objects,
// for every kind of column, with and without class origins, and for views
// (selections) of the table, whatever order the views come in.
TEST(CIMXMLDataTest, PackedInstancesWriteTheBytesOfTheirPropertiesAsObjects) {
    using T = KVOCIMType;
    // An embedded packed instance: its table is prepared while the outer one is in use.
    auto embedded = KVOSmrPtr<IKivoObject>(new CKivoPackedObject(
        makePropertyTable("E", {{"x", T::String, false, "E", false, ""}}),
        std::make_shared<CKivoPackedObject::Values>(CKivoPackedObject::Values{str("<1>")}), nullptr));
    std::vector<std::pair<CKivoPropertyTable::Column, KVOSmrPtr<IKivoValue>>> const columns = {
        {{"Id", T::UInt32, false, "Base", false, ""}, CKivoValue::makeUnsigned(T::UInt32, 7)},
        {{"Nam\"e", T::String, false, "", true, ""}, str(" a&b\n ")},
        {{"Nothing", T::Real64, false, "Base", true, ""}, nullptr},
        {{"Tags", T::String, true, "Sub<", false, ""}, CKivoValue::makeArray(T::String, {str("x"), str("y")})},
        {{"Ref", T::Reference, false, "Sub<", false, "KIVO_DiskDrive"}, CKivoValue::makeReference(diskPath("d1"))},
        {{"Obj", T::Instance, false, "", false, ""}, CKivoValue::makeInstance(embedded)},
    };
    std::vector<CKivoPropertyTable::Column> cols;
    auto values = std::make_shared<CKivoPackedObject::Values>();
    for (auto const& [c, v] : columns) cols.push_back(c), values->push_back(v);
    auto table = makePropertyTable("Sub\"", cols);
    CKivoPackedObject const packed(table, values, diskPath("d1"));
    struct View {
        std::vector<bool> keep;
        bool origins;
    };
    View const views[] = {{{}, true}, {{}, false}, {{false, true, true, false, true, true}, true},
                          {{true, false, false, true, false, false}, false}, {{}, true}};
    for (bool withOrigins : {false, true}) {
        CIMXMLDataWriter w("h", "root/cimv2", nullptr, withOrigins);
        for (View const& v : views) {
            KVOSmrPtr<IKivoObject> const view = packed.withTable(table->select(v.keep, v.origins));
            CKivoObject const plain(view->getClassName(), view->getProperties(), view->getInstanceName());
            std::string expected, actual;
            w.writeNamedInstance(expected, plain);
            w.writeNamedInstance(actual, *view);
            EXPECT_EQ(actual, expected) << withOrigins << v.origins;
            EXPECT_EQ(view->getProperties().entries(),
                      v.keep.empty() ? columns.size() : std::size_t(std::count(v.keep.begin(), v.keep.end(), true)));
        }
    }
    EXPECT_EQ(table->select({}, true), table) << "a view that changes nothing is the table itself";
    EXPECT_EQ(table->select({}, false), table->select({}, false)) << "the view without origins is made once";
}

TEST(CIMXMLDataTest, ReadsParameterValuesUntypedOrTyped) {
    pugi::xml_document doc;
    KVOSmrPtr<IKivoValue> untyped =
        reader::parameterValue(parse(doc, "<PARAMVALUE NAME=\"X\"><VALUE>0x10</VALUE></PARAMVALUE>"), "", "root/cimv2");
    ASSERT_TRUE(untyped);
    EXPECT_EQ(untyped->toString(), "0x10");  // left to the object manager to convert
    pugi::xml_document doc2;
    KVOSmrPtr<IKivoValue> typed = reader::parameterValue(
        parse(doc2, "<PARAMVALUE NAME=\"X\" PARAMTYPE=\"uint16\"><VALUE>0x10</VALUE></PARAMVALUE>"), "uint16", "root/cimv2");
    EXPECT_EQ(typed->getCIMType(), KVOCIMType::UInt16);
    EXPECT_EQ(typed->getUnsigned(), 16u);
    pugi::xml_document doc3;
    EXPECT_FALSE(reader::parameterValue(parse(doc3, "<PARAMVALUE NAME=\"X\"/>"), "", "root/cimv2"));
    pugi::xml_document doc4;
    auto list = reader::stringList(parse(doc4, "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY/></IPARAMVALUE>"));
    ASSERT_TRUE(list);  // an empty list, not a missing one
    EXPECT_EQ(list->entries(), 0u);
    pugi::xml_document doc5;
    EXPECT_FALSE(reader::stringList(parse(doc5, "<IPARAMVALUE NAME=\"PropertyList\"/>")));
}

TEST(CIMXMLDataTest, RefusesContentThatDoesNotFitItsElementAsAnInvalidParameter) {
    struct Case {
        char const* name;
        std::string xml;
        std::function<void(pugi::xml_node)> read;
    };
    auto path = [](pugi::xml_node n) { reader::instancePath(n, "root/cimv2"); };
    auto inst = [](pugi::xml_node n) { reader::instance(n, nullptr, "root/cimv2"); };
    auto boolean = [](pugi::xml_node n) { reader::booleanValue(n); };
    std::vector<Case> const cases = {
        {"INSTANCENAME without CLASSNAME", "<INSTANCENAME/>", path},
        {"KEYBINDING without value", "<INSTANCENAME CLASSNAME=\"X\"><KEYBINDING NAME=\"K\"/></INSTANCENAME>", path},
        {"KEYVALUE of unknown VALUETYPE",
         "<INSTANCENAME CLASSNAME=\"X\"><KEYBINDING NAME=\"K\"><KEYVALUE VALUETYPE=\"date\">1</KEYVALUE></KEYBINDING>"
         "</INSTANCENAME>",
         path},
        {"KEYVALUE whose TYPE does not fit",
         "<INSTANCENAME CLASSNAME=\"X\"><KEYBINDING NAME=\"K\"><KEYVALUE TYPE=\"uint8\">300</KEYVALUE></KEYBINDING>"
         "</INSTANCENAME>",
         path},
        {"stray element in INSTANCENAME", "<INSTANCENAME CLASSNAME=\"X\"><FOO/></INSTANCENAME>", path},
        {"not a path", "<CLASSNAME NAME=\"X\"/>", path},
        {"PROPERTY without TYPE", "<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"P\"/></INSTANCE>", inst},
        {"PROPERTY of unknown TYPE", "<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"P\" TYPE=\"float\"/></INSTANCE>", inst},
        {"number that is not one",
         "<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"P\" TYPE=\"sint32\"><VALUE>ten</VALUE></PROPERTY></INSTANCE>", inst},
        {"array in a scalar",
         "<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE.ARRAY/></PROPERTY></INSTANCE>", inst},
        {"two values",
         "<INSTANCE CLASSNAME=\"X\"><PROPERTY NAME=\"P\" TYPE=\"string\"><VALUE>a</VALUE><VALUE>b</VALUE></PROPERTY>"
         "</INSTANCE>",
         inst},
        {"boolean that is not one", "<IPARAMVALUE NAME=\"B\"><VALUE>yes</VALUE></IPARAMVALUE>", boolean},
        {"boolean without value", "<IPARAMVALUE NAME=\"B\"/>", boolean},
    };
    for (Case const& c : cases) {
        pugi::xml_document doc;
        pugi::xml_node n = parse(doc, c.xml);
        try {
            c.read(n);
            ADD_FAILURE() << c.name << ": accepted";
        } catch (KivoBaseException const& e) {
            EXPECT_EQ(e.getCode(), 4) << c.name;
        }
    }
}

TEST(CIMXMLDataTest, WritesErrorsWithTheirStatusNames) {
    std::string out;
    CIMXMLDataWriter::writeError(out, 6, "CIM_ERR_NOT_FOUND: no \"x\"");
    EXPECT_EQ(out, "<ERROR CODE=\"6\" DESCRIPTION=\"CIM_ERR_NOT_FOUND: no &quot;x&quot;\"/>");
    EXPECT_EQ(CIMXMLDataWriter::statusName(7), "CIM_ERR_NOT_SUPPORTED");
    EXPECT_EQ(CIMXMLDataWriter::statusName(17), "CIM_ERR_METHOD_NOT_FOUND");
    EXPECT_EQ(CIMXMLDataWriter::statusName(99), "CIM_ERR_99");
}

}  // namespace
