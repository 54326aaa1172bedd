// Where the object manager records the schema changes it makes (classes,
// qualifier declarations, namespaces), so that a repository kept elsewhere
// (on disk) follows its class repository.
//
// Who calls it: ObjectManager's schema operations, once the change is made in
// its ClassRepository and before the operation returns; they hold the object
// manager's schema lock, so calls come one at a time, in the order of the
// changes. A journal that raises undoes nothing itself: the object manager
// puts its class repository back as it was and the operation fails with what
// the journal raised (a KivoBaseException passes as it is; anything else
// becomes CIM_ERR_FAILED). A journal that returns has made the change
// durable.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IQualifierDef.h"

namespace kivo::om {

class SchemaJournal {
public:
    virtual ~SchemaJournal() = default;

    virtual void namespaceAdded(KVOString const& nameSpace) = 0;
    // A declaration added, or one of the same name replaced.
    virtual void qualifierSet(KVOString const& nameSpace, qora::IQualifierDef const& decl) = 0;
    virtual void qualifierDeleted(KVOString const& nameSpace, KVOString const& name) = 0;
    // A class created or modified: `resolved` as the class repository now
    // answers it (its own members are those not marked propagated).
    virtual void classSet(KVOString const& nameSpace, IKivoClass const& resolved) = 0;
    virtual void classDeleted(KVOString const& nameSpace, KVOString const& name) = 0;
};

}  // namespace kivo::om
