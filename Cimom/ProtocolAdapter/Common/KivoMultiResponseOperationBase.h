// The base class of every operation that returns a stream of results: it owns
// the operation's MultiResponseCollection, hands writers to the handler, lets
// the adapter's writeResponse iterate the results, and keeps the operation's
// status in the collection.
//
// The multi-result operation bases (enumerations, associations, references,
// pulls, queries) derive from it with their result type and capacity; the
// concrete adapter supplies isValid and writeResponse, the operation base
// callHandler. Everything else comes from KivoOperationBase unchanged.
//
// Status: setErrorCode and getErrorCode are the collection's, so the first
// non-zero code wins and it reads 0 as soon as any result was accepted.
// setErrorContext stores the context and passes its code on unchanged; unlike
// KivoOperationBase it does not turn 0 into 1, so a context with code 0 leaves
// the status at 0. signalProcessCompletion tells the collection that the
// consumer is done: producers' later additions are dropped.
//
// Threading: the handler's thread calls getResponse and allowComplete, the
// adapter's thread hasNext, next, getErrorCode and signalProcessCompletion;
// producers use their writers from any thread. With a capacity above 0 the
// producers must run on threads other than the adapter's.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseCollection.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseWriter.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"

template <class T>
class KivoMultiResponseOperationBase : public virtual IKivoMultiResponseOperation<T>, public KivoOperationBase {
public:
    // bounds: the collection's capacity, 0 for unbounded.
    KivoMultiResponseOperationBase(IKivoOperationHandlerContext* opHandlerContext, unsigned int bounds);
    ~KivoMultiResponseOperationBase() override = default;

    void setErrorCode(int errorCode) override;
    // Stores a copy of the base part of exceptionContext, then calls
    // setErrorCode with its code as it is.
    void setErrorContext(KivoBaseException const& exceptionContext) override;
    void signalProcessCompletion() override;
    int getErrorCode() const override;

    // See IKivoMultiResponseOperation<T>.
    KVOSmrPtr<qora::IMultiResponse<T>> getResponse() override;
    void allowComplete() override;
    bool hasNext() const override;
    T next() const override;

protected:
    // Created with the operation; shared with every writer, so it outlives the
    // operation while writers hold it.
    KVOSmrPtr<qora::MultiResponseCollection<T>> response;

private:
    KivoMultiResponseOperationBase(KivoMultiResponseOperationBase const&);
    KivoMultiResponseOperationBase& operator=(KivoMultiResponseOperationBase const&);
};

template <class T>
KivoMultiResponseOperationBase<T>::KivoMultiResponseOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                                  unsigned int bounds)
    : KivoOperationBase(opHandlerContext), response(qora::MultiResponseCollection<T>::newCollection(bounds, -1)) {}

template <class T>
void KivoMultiResponseOperationBase<T>::setErrorCode(int errorCode) {
    response->setErrorCode(errorCode);
}

template <class T>
void KivoMultiResponseOperationBase<T>::setErrorContext(KivoBaseException const& exceptionContext) {
    exceptionPtr = KVOSmrPtr<KivoBaseException>(new KivoBaseException(exceptionContext));
    setErrorCode(exceptionContext.getCode());
}

template <class T>
void KivoMultiResponseOperationBase<T>::signalProcessCompletion() {
    response->signalConsumerDone();
}

template <class T>
int KivoMultiResponseOperationBase<T>::getErrorCode() const {
    return response->getErrorCode();
}

template <class T>
KVOSmrPtr<qora::IMultiResponse<T>> KivoMultiResponseOperationBase<T>::getResponse() {
    return KVOSmrPtr<qora::IMultiResponse<T>>(new qora::MultiResponseWriter<T>(response));
}

template <class T>
void KivoMultiResponseOperationBase<T>::allowComplete() {
    response->allowComplete();
}

template <class T>
bool KivoMultiResponseOperationBase<T>::hasNext() const {
    return response->hasNext();
}

template <class T>
T KivoMultiResponseOperationBase<T>::next() const {
    return response->next();
}

#define QORA_DECLARE_MULTI_RESPONSE_OPERATION(T) extern template class KivoMultiResponseOperationBase<T>;
QORA_MULTI_RESPONSE_RESULT_TYPES(QORA_DECLARE_MULTI_RESPONSE_OPERATION)
#undef QORA_DECLARE_MULTI_RESPONSE_OPERATION
