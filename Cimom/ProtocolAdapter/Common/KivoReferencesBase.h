// The base class of the reference traversal facet: it stores the ObjectName,
// ResultClass and Role parameters of References and ReferenceNames.
//
// KivoReferencesOperationBase and KivoReferenceNamesOperationBase derive from
// it; the adapter sets the parameters through it, and the handler reads them
// through IKivoReferences, a virtual base shared with the operation's
// interface. Until set, the source instance is null and the strings are empty;
// setters accept any value, null and empty included, and nothing is validated.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoReferences.h"

class KivoReferencesBase : public virtual IKivoReferences {
public:
    KivoReferencesBase();
    KVOSmrPtr<IKivoInstanceName> getSourceInstance() const override;
    KVOString getResultClass() const override;
    KVOString getRole() override;
    ~KivoReferencesBase() override;
    virtual void setSourceInstance(KVOSmrPtr<IKivoInstanceName> sourceInstance);
    virtual void setResultClass(KVOString const& resultClass);
    virtual void setRole(KVOString const& role);

protected:
    KVOSmrPtr<IKivoInstanceName> sourceInstance;
    KVOString resultClass;
    KVOString role;

private:
    KivoReferencesBase(KivoReferencesBase const&);
    KivoReferencesBase& operator=(KivoReferencesBase const&);
};
