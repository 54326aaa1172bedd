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
// References, ReferenceNames, GetQualifier, EnumerateQualifiers), the schema
// operations (CreateClass and ModifyClass with the class as CLASS,
// DeleteClass, SetQualifier with a QUALIFIER.DECLARATION, DeleteQualifier;
// each answers an empty IMETHODRESPONSE or the error), the pulled
// enumerations of DSP0200 1.3 (the seven Open operations, PullInstancesWithPath,
// PullInstancePaths, PullInstances, CloseEnumeration), ExecQuery, and
// extrinsic methods (InvokeMethod). An ExecQuery whose select list names
// properties goes to the row path of CIMXMLExecuteQuery.h; SELECT * is the
// handler's ExecQuery (VALUE.OBJECTWITHPATH).
//
// Pulled responses (DSP0201): the batch in IRETURNVALUE (VALUE.INSTANCEWITHPATH
// for the instance Opens and PullInstancesWithPath, INSTANCEPATH for the path
// Opens and PullInstancePaths, INSTANCE for OpenQueryInstances and
// PullInstances; an empty batch as an empty IRETURNVALUE), then the output
// PARAMVALUEs: QueryResultClass (OpenQueryInstances with
// ReturnQueryResultClass), EndOfSequence (boolean) and EnumerationContext
// (string; NULL, without VALUE, once EndOfSequence is TRUE). MaxObjectCount
// and OperationTimeout are uint32; an OperationTimeout without a value is
// taken as absent. The handler (OperationHandler, EnumerationContexts) keeps
// the enumerations and decides the limits.
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
    // Limits on the content of requests (nesting of references, their text).
    RequestLimits request;
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
