// The base class of the PropertyList facet: it stores the PropertyList
// parameter of a request as a shared list of property names, null until set.
//
// Operation bases whose operations accept the parameter derive from it; the
// adapter sets the list through it, and the handler reads it through
// IKivoPropertyListOperation, a virtual base shared with the operation's
// interface. The list is shared, never copied: a name appended through any
// reference shows in every later getPropertyList. A null list (no PropertyList
// in the request) and an empty one (a PropertyList naming no property) are kept
// apart.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"

class KivoPropertyListOperationBase : public virtual IKivoPropertyListOperation {
public:
    KivoPropertyListOperationBase();
    KVOSmrPtr<KVOValSlist<KVOString> > getPropertyList() const override;
    ~KivoPropertyListOperationBase() override;
    // Stores `props` itself (null included), releasing the list held before.
    virtual void setPropertyList(KVOSmrPtr<KVOValSlist<KVOString> > props);

protected:
    KVOSmrPtr<KVOValSlist<KVOString> > propertyList;

private:
    KivoPropertyListOperationBase(KivoPropertyListOperationBase const&);
    KivoPropertyListOperationBase& operator=(KivoPropertyListOperationBase const&);
};
