#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoIncludeQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoLocalOnlyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesBase.h"

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

}  // namespace
