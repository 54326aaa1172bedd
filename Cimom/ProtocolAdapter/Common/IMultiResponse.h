// A producer's handle on the results of one multi-result operation: what the
// object manager's handler and its providers see of a writer.
//
// Obtained from IKivoMultiResponseOperation<T>::getResponse; implemented by
// MultiResponseWriter<T>. One handle belongs to one producer thread at a time;
// many handles on one operation may be used from different threads at once.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IResponse.h"

namespace qora {

template <class T>
class IMultiResponse : public IResponse {
public:
    ~IMultiResponse() override = default;

    // Queues a copy of value for the consumer. True when it was accepted, or
    // dropped because the consumer is already done. A refusal (every producer
    // closed after completion was allowed, or an error already reported with
    // nothing accepted before it) answers false, or with throwOnAbort raises
    // KivoBaseException. With a bounded collection it blocks while the bound
    // is reached, until the consumer takes a result or finishes.
    virtual bool add(T value, bool throwOnAbort) = 0;
    // Reports a CIM status code for the operation; the first non-zero code
    // wins, and it only shows while nothing has been accepted.
    virtual void setErrorCode(int errorCode) = 0;
};

}  // namespace qora
