#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoIncludeQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoLocalOnlyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesBase.h"

#include "KivoUtilities/CKivoData.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

// A static_cast from a base down to a derived class compiles only when the
// base is not virtual.
template <class Base, class Derived>
concept DowncastableStatically = requires(Base* b) { static_cast<Derived*>(b); };

template <class Facet, class Interface>
constexpr bool isFacetBase = std::is_base_of_v<Interface, Facet> && !DowncastableStatically<Interface, Facet> &&
                             !std::is_copy_constructible_v<Facet> && !std::is_copy_assignable_v<Facet>;

static_assert(isFacetBase<KivoLocalOnlyOperationBase, IKivoLocalOnlyOperation>);
static_assert(isFacetBase<KivoIncludeQualifiersOperationBase, IKivoIncludeQualifiersOperation>);
static_assert(isFacetBase<KivoClassOriginatedOperationBase, IKivoClassOriginatedOperation>);
static_assert(isFacetBase<KivoDeeplyInheritedOperationBase, IKivoDeeplyInheritedOperation>);
static_assert(isFacetBase<KivoPropertyListOperationBase, IKivoPropertyListOperation>);
static_assert(isFacetBase<KivoAssociatorsBase, IKivoAssociators>);
static_assert(isFacetBase<KivoReferencesBase, IKivoReferences>);

// The one getter that is not const.
static_assert(std::is_same_v<decltype(&IKivoReferences::getRole), KVOString (IKivoReferences::*)()>);
static_assert(std::is_same_v<decltype(&KivoReferencesBase::getRole), KVOString (KivoReferencesBase::*)()>);

using PropertyList = KVOValSlist<KVOString>;

KVOSmrPtr<IKivoInstanceName> path(char const* className) {
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName("root/test", className));
}

TEST(ParameterFacets, NewFacetsHoldFalseNullAndEmpty) {
    EXPECT_FALSE(KivoLocalOnlyOperationBase().getLocalOnly());
    EXPECT_FALSE(KivoIncludeQualifiersOperationBase().getIncludeQualifiers());
    EXPECT_FALSE(KivoClassOriginatedOperationBase().getClassOrigin());
    EXPECT_FALSE(KivoDeeplyInheritedOperationBase().getDeepInheritance());
    EXPECT_TRUE(KivoPropertyListOperationBase().getPropertyList().isNull());

    KivoAssociatorsBase associators;
    EXPECT_TRUE(associators.getSourceInstance().isNull());
    EXPECT_TRUE(associators.getResultClass().isEmpty());
    EXPECT_TRUE(associators.getAssociationClass().isEmpty());
    EXPECT_TRUE(associators.getRole().isEmpty());
    EXPECT_TRUE(associators.getResultRole().isEmpty());

    KivoReferencesBase references;
    EXPECT_TRUE(references.getSourceInstance().isNull());
    EXPECT_TRUE(references.getResultClass().isEmpty());
    EXPECT_TRUE(references.getRole().isEmpty());
}

TEST(ParameterFacets, PropertyListKeepsNullApartFromEmptyAndIsShared) {
    KivoPropertyListOperationBase facet;
    KVOSmrPtr<PropertyList> empty(new PropertyList);
    facet.setPropertyList(empty);
    ASSERT_FALSE(facet.getPropertyList().isNull());
    EXPECT_EQ(facet.getPropertyList(), empty);
    EXPECT_EQ(facet.getPropertyList()->entries(), 0u);

    // Appended through one reference, seen through every later one.
    facet.getPropertyList()->append("Name");
    EXPECT_TRUE(facet.getPropertyList()->contains("Name"));
    EXPECT_TRUE(empty->contains("Name"));

    facet.setPropertyList(nullptr);
    EXPECT_TRUE(facet.getPropertyList().isNull());
    EXPECT_EQ(empty.holderCount(), 1);  // the facet let go of its reference
}

TEST(ParameterFacets, TraversalSettersReplaceAndAcceptNullAndEmpty) {
    KivoAssociatorsBase associators;
    associators.setSourceInstance(path("Source"));
    associators.setResultClass("Result");
    associators.setAssociationClass("Link");
    associators.setRole("Antecedent");
    associators.setResultRole("Dependent");
    EXPECT_EQ(associators.getSourceInstance()->getClassName(), KVOString("Source"));
    EXPECT_EQ(associators.getResultClass(), KVOString("Result"));
    EXPECT_EQ(associators.getAssociationClass(), KVOString("Link"));
    EXPECT_EQ(associators.getRole(), KVOString("Antecedent"));
    EXPECT_EQ(associators.getResultRole(), KVOString("Dependent"));
    associators.setSourceInstance(nullptr);
    associators.setRole("");
    EXPECT_TRUE(associators.getSourceInstance().isNull());
    EXPECT_TRUE(associators.getRole().isEmpty());

    KivoReferencesBase references;
    references.setSourceInstance(path("Source"));
    references.setResultClass("Link");
    references.setRole("Antecedent");
    EXPECT_EQ(references.getSourceInstance()->getClassName(), KVOString("Source"));
    EXPECT_EQ(references.getResultClass(), KVOString("Link"));
    EXPECT_EQ(references.getRole(), KVOString("Antecedent"));
    references.setSourceInstance(nullptr);
    EXPECT_TRUE(references.getSourceInstance().isNull());
}

}  // namespace
