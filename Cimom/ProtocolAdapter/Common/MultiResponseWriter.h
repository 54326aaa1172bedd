// One registered producer handle on a multi-response collection: the object
// behind every IMultiResponse<T> that KivoMultiResponseOperationBase::getResponse
// hands to the object manager's handler.
//
// Construction registers the writer with the collection; the first Close(), or
// the destructor, unregisters it. The collection completes once every writer
// has closed after the handler allowed completion. A closed writer still
// forwards add and setErrorCode; the collection decides whether to accept.
// The writer shares ownership of the collection, which lives as long as the
// operation or any writer holds it.
//
// Threading: a writer belongs to one producer thread at a time and is not
// synchronised itself (`_closed` is unguarded); all shared state is in the
// collection.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IMultiResponse.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseCollection.h"

namespace qora {

template <class T>
class MultiResponseWriter : public IMultiResponse<T> {
public:
    // Registers with `coll`. When the collection is already complete this
    // raises the collection's registration error and no writer exists; the
    // collection's writer count is unchanged.
    explicit MultiResponseWriter(KVOSmrPtr<MultiResponseCollection<T>> const& coll);

    // Unregisters from the collection the first time; later calls do nothing.
    void Close() override;
    // Closes (an error from the collection is swallowed: a destructor does not
    // throw), then releases the collection.
    ~MultiResponseWriter() override;
    // See IMultiResponse<T>; forwards to the collection.
    bool add(T value, bool throwOnAbort) override;
    void setErrorCode(int errorCode) override;
    // Queues a marker through the collection (see MultiResponseCollection::add).
    virtual bool add(KVOSmrPtr<IMarker<T>> value, bool throwOnAbort);

private:
    MultiResponseWriter(MultiResponseWriter const&);
    MultiResponseWriter& operator=(MultiResponseWriter const&);

    KVOSmrPtr<MultiResponseCollection<T>> collection;
    bool _closed;  // the owning producer's thread only
};

template <class T>
MultiResponseWriter<T>::MultiResponseWriter(KVOSmrPtr<MultiResponseCollection<T>> const& coll)
    : collection(coll), _closed(false) {
    collection->registerWriter();
}

template <class T>
void MultiResponseWriter<T>::Close() {
    if (_closed) return;
    collection->unregisterWriter();
    _closed = true;
}

template <class T>
MultiResponseWriter<T>::~MultiResponseWriter() {
    try {
        Close();
    } catch (...) {
        // Only reachable when the collection's count was driven to 0 behind
        // this writer's back; there is nothing left to unregister.
    }
}

template <class T>
bool MultiResponseWriter<T>::add(T value, bool throwOnAbort) {
    return collection->add(std::move(value), throwOnAbort);
}

template <class T>
bool MultiResponseWriter<T>::add(KVOSmrPtr<IMarker<T>> value, bool throwOnAbort) {
    return collection->add(std::move(value), throwOnAbort);
}

template <class T>
void MultiResponseWriter<T>::setErrorCode(int errorCode) {
    collection->setErrorCode(errorCode);
}

#define QORA_DECLARE_WRITER(T) extern template class MultiResponseWriter<T>;
QORA_MULTI_RESPONSE_RESULT_TYPES(QORA_DECLARE_WRITER)
#undef QORA_DECLARE_WRITER

}  // namespace qora
