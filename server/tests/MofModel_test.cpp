// server/mof/model/kivo.mof declares the same classes as the model built in
// code (DefaultModel.cpp): class by class, the same superclass, qualifiers,
// properties, methods and parameters, origins and propagated flags, so the
// server can load its model from MOF without a client seeing a difference.
#include "mof/MofCompiler.h"
#include "objectmanager/DefaultModel.h"

#include "ClassText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

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
            EXPECT_EQ(class_text::describe(*other), class_text::describe(*c));
        }
        for (auto const* d : built.qualifierDecls(ns)) {
            qora::IQualifierDef const* other = compiled.getQualifierDecl(ns, d->getName());
            ASSERT_TRUE(other) << d->getName().str();
            EXPECT_EQ(other->getName(), d->getName());
            EXPECT_EQ(other->getScopes(), d->getScopes()) << d->getName().str();
            EXPECT_EQ(other->getFlavors(), d->getFlavors()) << d->getName().str();
            EXPECT_EQ(class_text::text(other->getDefault()), class_text::text(d->getDefault())) << d->getName().str();
        }
    }
}

}  // namespace
