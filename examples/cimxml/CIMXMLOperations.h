// The concrete CIM-XML operations: one class per DSP0200 operation, each
// derived from the library's operation base, all made by one template,
// CIMXMLOperation<Traits>. The traits of an operation name its base class,
// its parameter table (CIMXMLParams.h) and how its result is written; the
// template supplies isValid (the request's parameters were accepted) and
// writeResponse (through the request's ResponseChannel).
//
// buildOperation() is the adapter's one entry: it makes the operation the
// request calls, with its parameters bound, or answers null for a method the
// server does not implement (which the adapter answers CIM_ERR_NOT_SUPPORTED).
//
// What is implemented: the intrinsic operations wbemcli and pywbem use
// (GetClass, EnumerateClasses, EnumerateClassNames, GetInstance,
// EnumerateInstances, EnumerateInstanceNames, GetProperty, SetProperty,
// CreateInstance, ModifyInstance, DeleteInstance, Associators, AssociatorNames,
// References, ReferenceNames, GetQualifier, EnumerateQualifiers) and extrinsic
// methods (InvokeMethod). Pulled enumerations, queries and the class and
// qualifier changes are not: they answer CIM_ERR_NOT_SUPPORTED, so that
// clients fall back.
//
// An operation keeps a reference to the request's ResponseChannel, which it
// uses only inside writeResponse; the object manager may keep the operation
// longer than the request.
#pragma once

#include "CIMXMLRequest.h"
#include "CIMXMLResponse.h"

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"

namespace cimxmlpa {

struct OperationSettings {
    // Capacity of the result collections of streamed operations (0: none).
    unsigned streamBound = 1000;
};

// The operation `request` calls, its namespace and parameters set. A problem
// with the parameters is stored on the operation as its error (it then
// answers the error without reaching the handler). Null when the method is
// not implemented here.
KVOSmrPtr<KivoOperationBase> buildOperation(CIMXMLRequest const& request, ResponseChannel& channel,
                                            IKivoOperationHandlerContext* context, OperationSettings const& settings);

// True for the names of intrinsic operations buildOperation implements.
bool isImplementedIntrinsic(std::string_view methodName);

}  // namespace cimxmlpa
