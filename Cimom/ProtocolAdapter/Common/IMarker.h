// An entry of a multi-response collection's queue: either a wrapped result or
// a marker whose action runs when it reaches the consumer's end of the queue.
//
// Producers derive their markers from it and queue them with the collection's
// (or a writer's) marker form of add; the collection wraps every result in its
// own entry type (MultiResponseCollection<T>::wrapper). A marker travels in
// order with the results, so its process() tells the producer that everything
// it queued before the marker has been taken out or discarded.
//
// process() runs once, on the consumer's thread inside hasNext or
// signalConsumerDone (with the collection's lock held: it may call the same
// collection again, but must not wait for another thread that uses it), or on
// the producer's own thread inside add when the consumer is already done.
#pragma once

namespace qora {

template <class T>
class IMarker {
public:
    // True for a marker, false for a wrapped result.
    virtual bool isMarker() const = 0;
    // The marker's action; see above for when and where it runs.
    virtual void process() const = 0;
    virtual ~IMarker() = default;
};

}  // namespace qora
