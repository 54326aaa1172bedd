// The base class of the association traversal facet: it stores the ObjectName,
// ResultClass, AssocClass, Role and ResultRole parameters of Associators and
// AssociatorNames.
//
// KivoAssociatorsOperationBase and KivoAssociatorNamesOperationBase derive from
// it; the adapter sets the parameters through it, and the handler reads them
// through IKivoAssociators, a virtual base shared with the operation's
// interface. Until set, the source instance is null and the strings are empty;
// setters accept any value, null and empty included, and nothing is validated.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoAssociators.h"

class KivoAssociatorsBase : public virtual IKivoAssociators {
public:
    KivoAssociatorsBase();
    KVOSmrPtr<IKivoInstanceName> getSourceInstance() const override;
    KVOString getResultClass() const override;
    KVOString getAssociationClass() const override;
    KVOString getRole() const override;
    KVOString getResultRole() const override;
    ~KivoAssociatorsBase() override;
    virtual void setSourceInstance(KVOSmrPtr<IKivoInstanceName> source);
    virtual void setResultClass(KVOString const& resultClass);
    virtual void setAssociationClass(KVOString const& association);
    virtual void setRole(KVOString const& role);
    virtual void setResultRole(KVOString const& resultRole);

protected:
    KVOSmrPtr<IKivoInstanceName> sourceInstance;
    KVOString resultClass;
    KVOString associationClass;
    KVOString role;
    KVOString resultRole;

private:
    KivoAssociatorsBase(KivoAssociatorsBase const&);
    KivoAssociatorsBase& operator=(KivoAssociatorsBase const&);
};
