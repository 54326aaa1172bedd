// server/mof/model/kivo.mof declares the same classes as the model built in
// code (DefaultModel.cpp): class by class, the same superclass, qualifiers,
// properties, methods and parameters, origins and propagated flags, so the
// server can load its model from MOF without a client seeing a difference.
#include "mof/MofCompiler.h"
#include "objectmanager/DefaultModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

std::string text(KVOSmrPtr<IKivoValue> const& v) { return v ? v->toString().str() : "NULL"; }

// The qualifiers, one line each, sorted; Override is left out (the code
// overrides without it).
std::string qualifiers(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs, std::string const& indent) {
    std::vector<std::string> lines;
    for (auto const& q : qs) {
        if (q->getName().equalsIgnoreCase("Override")) continue;
        KVOQualifierFlavors const f = q->getFlavors();
        lines.push_back(indent + "[" + q->getName().str() + "=" + text(q->getValue()) + " " + KVOCIMTypes::name(q->getCIMType()).str() +
                        (f.overridable ? " overridable" : "") + (f.toSubclass ? " tosubclass" : "") +
                        (f.translatable ? " translatable" : "") + (q->isPropagated() ? " propagated" : "") + "]\n");
    }
    std::sort(lines.begin(), lines.end());
    std::string out;
    for (auto const& l : lines) out += l;
    return out;
}

std::string describe(IKivoClass const& c) {
    std::string out = "class " + c.getName().str() + " : " + c.getSuperClassName().str() + "\n" + qualifiers(c.getQualifiers(), "");
    for (auto const& p : c.getProperties())
        out += "  " + KVOCIMTypes::name(p->getCIMType()).str() + (p->isArray() ? "[] " : " ") + p->getName().str() + " ref=" +
               p->getReferenceClass().str() + " = " + text(p->getValue()) + " origin=" + p->getClassOrigin().str() +
               (p->isPropagated() ? " propagated" : "") + "\n" + qualifiers(p->getQualifiers(), "    ");
    for (auto const& m : c.getMethods()) {
        out += "  " + KVOCIMTypes::name(m->getReturnType()).str() + " " + m->getName().str() + "() origin=" +
               m->getClassOrigin().str() + (m->isPropagated() ? " propagated" : "") + "\n" + qualifiers(m->getQualifiers(), "    ");
        for (auto const& a : m->getParameters())
            out += "    " + KVOCIMTypes::name(a->getCIMType()).str() + (a->isArray() ? "[] " : " ") + a->getName().str() + "\n" +
                   qualifiers(a->getQualifiers(), "      ");
    }
    return out;
}

TEST(MofModel, DeclaresTheClassesOfTheModelBuiltInCode) {
    kivo::om::ObjectManager om;
    kivo::om::loadDefaultModel(om, kivo::om::ModelSettings{0});
    kivo::om::ClassRepository& built = om.repository();

    kivo::om::ClassRepository compiled;
    kivo::mof::MofResult const r = kivo::mof::MofCompiler(compiled).compileFile(KIVO_MOF_MODEL);
    ASSERT_TRUE(r.ok()) << r.error->text();

    for (char const* ns : {kivo::om::kCimv2, kivo::om::kInterop}) {
        std::vector<KVOSmrPtr<IKivoClass>> const want = built.subclasses(ns, "", true);
        std::vector<KVOSmrPtr<IKivoClass>> const got = compiled.subclasses(ns, "", true);
        ASSERT_EQ(got.size(), want.size()) << ns;
        for (auto const& c : want) {
            KVOSmrPtr<IKivoClass> other = compiled.getClass(ns, c->getName());
            ASSERT_TRUE(other) << c->getName().str();
            EXPECT_EQ(describe(*other), describe(*c));
        }
        for (auto const* d : built.qualifierDecls(ns)) {
            qora::IQualifierDef const* other = compiled.getQualifierDecl(ns, d->getName());
            ASSERT_TRUE(other) << d->getName().str();
            EXPECT_EQ(other->getName(), d->getName());
            EXPECT_EQ(other->getScopes(), d->getScopes()) << d->getName().str();
            EXPECT_EQ(other->getFlavors(), d->getFlavors()) << d->getName().str();
            EXPECT_EQ(text(other->getDefault()), text(d->getDefault())) << d->getName().str();
        }
    }
}

}  // namespace
