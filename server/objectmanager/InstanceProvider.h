// The source of the instances of one class: the in-memory store, or a
// provider that makes its instances on demand.
//
// The object manager registers one provider per class (exactly that class,
// not its subclasses) and asks it from worker threads, so implementations
// must be thread-safe. Instances handed out are complete: every property of
// the class (with its class origin), and a path with the namespace. The
// operations that change instances default to CIM_ERR_NOT_SUPPORTED.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoObject.h"

#include <functional>

namespace kivo::om {

// Receives results one at a time; answers false to stop the producer (the
// consumer has gone or refuses more).
template <class T>
using Sink = std::function<bool(T const&)>;

class InstanceProvider {
public:
    virtual ~InstanceProvider() = default;

    // Hands every instance of exactly `cls` in `nameSpace` to `out`, in order,
    // until `out` answers false.
    virtual void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) = 0;
    // The instance of exactly `cls` whose keys are those of `path` (its class
    // name is not compared), or null.
    virtual KVOSmrPtr<IKivoObject> get(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path);

    // Adds a complete instance; CIM_ERR_ALREADY_EXISTS when one with its keys
    // is there.
    virtual void create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance);
    // Replaces the instance with the same keys; CIM_ERR_NOT_FOUND when absent.
    virtual void modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance);
    // What a read-modify-write makes of the current instance: the whole new
    // instance, with the same keys. It may raise; nothing changes then.
    using Change = std::function<KVOSmrPtr<IKivoObject>(IKivoObject const& current)>;
    // Replaces the instance with the keys of `path` by change(current);
    // CIM_ERR_NOT_FOUND when absent. A provider that keeps instances makes
    // this atomic (no other write to the instance between the read and the
    // write); the default reads with get() and writes with modify(), which is
    // atomic only if the provider has nothing else writing.
    virtual void update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                        Change const& change);
    // Removes the instance with the keys of `path`; CIM_ERR_NOT_FOUND when absent.
    virtual void remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path);
};

}  // namespace kivo::om
