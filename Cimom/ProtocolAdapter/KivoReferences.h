// The reference traversal facet: the object manager's view of the parameters
// that References and ReferenceNames traverse by.
//
// A virtual base of the interfaces of those operations; KivoReferencesBase
// stores the parameters. The values are not interpreted: an empty string is
// what the adapter set (or left), and whether it means an absent parameter is
// the handler's business. The adapter sets them before processing and the
// handler only reads them; not locked.
#pragma once

#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

class IKivoReferences {
public:
    // ObjectName: the object whose references are traversed (another reference
    // to it); null until set.
    virtual KVOSmrPtr<IKivoInstanceName> getSourceInstance() const = 0;
    // The ResultClass parameter.
    virtual KVOString getResultClass() const = 0;
    // The Role parameter. Not const, unlike the other getters: it cannot be
    // called through a const reference to the facet.
    virtual KVOString getRole() = 0;
    virtual ~IKivoReferences() = default;
};
