// The object manager's operation handler: one entry per operation.
//
// Implemented by the object manager; the adapters' common layer calls it from
// each operation's callHandler, synchronously on the adapter's thread. Each
// entry takes the operation under its own interface; the handler reads the
// parameters, reports results through the interface (setters, result
// writers), and reports errors with setErrorCode/setErrorContext or by
// throwing. A handler may keep the pointer it is given: it shares the
// operation's reference count.
#pragma once

#include "KivoUtilities/KVOSmrPtr.h"

class IKivoGetClassOperation;
class IKivoEnumerateClassesOperation;
class IKivoEnumerateClassNamesOperation;
class IKivoGetInstanceOperation;
class IKivoEnumerateInstancesOperation;
class IKivoEnumerateInstanceNamesOperation;
class IKivoGetPropertyOperation;
class IKivoSetPropertyOperation;
class IKivoCreateInstanceOperation;
class IKivoModifyInstanceOperation;
class IKivoDeleteInstanceOperation;
class IKivoAssociatorsOperation;
class IKivoAssociatorNamesOperation;
class IKivoReferencesOperation;
class IKivoReferenceNamesOperation;
class IKivoEnumerateQualifiersOperation;
class IKivoGetQualifierOperation;
class IKivoInvokeMethodOperation;
class IKivoIndicationSubOperation;
class IOpenEnumerateInstancesOperation;
class IPullInstancesWithPathOperation;
class ICloseEnumerationOperation;
class IOpenEnumerateInstancePathsOperation;
class IOpenReferenceInstancesOperation;
class IOpenReferenceInstancePathsOperation;
class IOpenAssociatorInstancePathsOperation;
class IOpenAssociatorInstancesOperation;
class IPullInstancePathsOperation;
class IPullInstancesOperation;
class IExecQueryOperation;
class IOpenQueryInstancesOperation;
class IKivoCreateClassOperation;
class IKivoModifyClassOperation;
class IKivoDeleteClassOperation;
class IKivoSetQualifierOperation;
class IKivoDeleteQualifierOperation;

class IKivoOperationHandler {
public:
    virtual void handleGetClass(KVOSmrPtr<IKivoGetClassOperation> const& op) = 0;
    virtual void handleEnumerateClasses(KVOSmrPtr<IKivoEnumerateClassesOperation> const& op) = 0;
    virtual void handleEnumerateClassNames(KVOSmrPtr<IKivoEnumerateClassNamesOperation> const& op) = 0;
    virtual void handleGetInstance(KVOSmrPtr<IKivoGetInstanceOperation> const& op) = 0;
    virtual void handleEnumerateInstances(KVOSmrPtr<IKivoEnumerateInstancesOperation> const& op) = 0;
    virtual void handleEnumerateInstanceNames(KVOSmrPtr<IKivoEnumerateInstanceNamesOperation> const& op) = 0;
    virtual void handleGetProperty(KVOSmrPtr<IKivoGetPropertyOperation> const& op) = 0;
    virtual void handleSetProperty(KVOSmrPtr<IKivoSetPropertyOperation> const& op) = 0;
    virtual void handleCreateInstance(KVOSmrPtr<IKivoCreateInstanceOperation> const& op) = 0;
    virtual void handleModifyInstance(KVOSmrPtr<IKivoModifyInstanceOperation> const& op) = 0;
    virtual void handleDeleteInstance(KVOSmrPtr<IKivoDeleteInstanceOperation> const& op) = 0;
    virtual void handleAssociators(KVOSmrPtr<IKivoAssociatorsOperation> const& op) = 0;
    virtual void handleAssociatorNames(KVOSmrPtr<IKivoAssociatorNamesOperation> const& op) = 0;
    virtual void handleReferences(KVOSmrPtr<IKivoReferencesOperation> const& op) = 0;
    virtual void handleReferenceNames(KVOSmrPtr<IKivoReferenceNamesOperation> const& op) = 0;
    virtual void handleEnumerateQualifiers(KVOSmrPtr<IKivoEnumerateQualifiersOperation> const& op) = 0;
    virtual void handleGetQualifier(KVOSmrPtr<IKivoGetQualifierOperation> const& op) = 0;
    virtual void handleInvokeMethod(KVOSmrPtr<IKivoInvokeMethodOperation> const& op) = 0;
    virtual void handleIndicationSubscription(KVOSmrPtr<IKivoIndicationSubOperation> const& op) = 0;
    virtual ~IKivoOperationHandler() = default;
    virtual void handleOpenEnumerateInstances(KVOSmrPtr<IOpenEnumerateInstancesOperation> const& op) = 0;
    virtual void handlePullInstancesWithPath(KVOSmrPtr<IPullInstancesWithPathOperation> const& op) = 0;
    virtual void handleCloseEnumeration(KVOSmrPtr<ICloseEnumerationOperation> const& op) = 0;
    virtual void handleOpenEnumerateInstancePaths(KVOSmrPtr<IOpenEnumerateInstancePathsOperation> const& op) = 0;
    virtual void handleOpenReferenceInstances(KVOSmrPtr<IOpenReferenceInstancesOperation> const& op) = 0;
    virtual void handleOpenReferenceInstancePaths(KVOSmrPtr<IOpenReferenceInstancePathsOperation> const& op) = 0;
    virtual void handleOpenAssociatorInstancePaths(KVOSmrPtr<IOpenAssociatorInstancePathsOperation> const& op) = 0;
    virtual void handleOpenAssociatorInstances(KVOSmrPtr<IOpenAssociatorInstancesOperation> const& op) = 0;
    virtual void handlePullInstancePaths(KVOSmrPtr<IPullInstancePathsOperation> const& op) = 0;
    virtual void handlePullInstances(KVOSmrPtr<IPullInstancesOperation> const& op) = 0;
    virtual void handleExecQuery(KVOSmrPtr<IExecQueryOperation> const& op) = 0;
    virtual void handleOpenQueryInstances(KVOSmrPtr<IOpenQueryInstancesOperation> const& op) = 0;
    // The schema operations: the class and qualifier declarations of a
    // namespace created, modified and deleted. Each answers only a status.
    virtual void handleCreateClass(KVOSmrPtr<IKivoCreateClassOperation> const& op) = 0;
    virtual void handleModifyClass(KVOSmrPtr<IKivoModifyClassOperation> const& op) = 0;
    virtual void handleDeleteClass(KVOSmrPtr<IKivoDeleteClassOperation> const& op) = 0;
    virtual void handleSetQualifier(KVOSmrPtr<IKivoSetQualifierOperation> const& op) = 0;
    virtual void handleDeleteQualifier(KVOSmrPtr<IKivoDeleteQualifierOperation> const& op) = 0;
};
