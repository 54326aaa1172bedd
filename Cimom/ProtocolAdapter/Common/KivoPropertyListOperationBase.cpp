#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"

#include <utility>

KivoPropertyListOperationBase::KivoPropertyListOperationBase() = default;
KivoPropertyListOperationBase::~KivoPropertyListOperationBase() = default;

KVOSmrPtr<KVOValSlist<KVOString> > KivoPropertyListOperationBase::getPropertyList() const { return propertyList; }

void KivoPropertyListOperationBase::setPropertyList(KVOSmrPtr<KVOValSlist<KVOString> > props) {
    propertyList = std::move(props);
}
