// The association traversal facet: the object manager's view of the parameters
// that Associators and AssociatorNames traverse by.
//
// A virtual base of the interfaces of those operations; KivoAssociatorsBase
// stores the parameters. The values are not interpreted: an empty string is
// what the adapter set (or left), and whether it means an absent parameter is
// the handler's business. The adapter sets them before processing and the
// handler only reads them; not locked.
#pragma once

#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

class IKivoAssociators {
public:
    // ObjectName: the object whose associations are traversed (another
    // reference to it); null until set.
    virtual KVOSmrPtr<IKivoInstanceName> getSourceInstance() const = 0;
    // The ResultClass parameter.
    virtual KVOString getResultClass() const = 0;
    // The AssocClass parameter.
    virtual KVOString getAssociationClass() const = 0;
    // The Role parameter.
    virtual KVOString getRole() const = 0;
    // The ResultRole parameter.
    virtual KVOString getResultRole() const = 0;
    virtual ~IKivoAssociators() = default;
};
