// The instance store on disk: the provider of every class without a provider
// of its own, as InstanceStore is in memory, keeping its instances in a
// RepositoryFile.
//
// The same contract as InstanceStore (InstanceProvider.h, InstanceStore.h):
// instances per namespace and class in creation order, found by their
// normalised keys (a path whose keys are not canonical is matched by a scan
// with sameKeys), the same quota (StoreLimits) answered with
// CIM_ERR_SERVER_LIMITS_EXCEEDED, the same errors. Each create, modify,
// update and remove is one transaction: when it returns the change is on
// disk; when it raises nothing changed. update() reads and writes inside one
// transaction, so concurrent writers of one instance never lose each other's
// writes.
//
// enumerate() reads through a cursor: one instance in memory at a time (the
// sink may block; the cursor's read transaction keeps its view of the file
// and does not block writers).
//
// Values are kept in a binary form that reads back the same values: every
// CIM type, arrays, NULL, references (as their paths) and embedded instances.
// A class value cannot be stored (CIM_ERR_NOT_SUPPORTED).
//
// Thread-safe: any number of threads may call every member at once.
#pragma once

#include "objectmanager/InstanceProvider.h"
#include "objectmanager/InstanceStore.h"
#include "repository/RepositoryFile.h"

#include <memory>

namespace kivo::repo {

class DiskInstanceStore : public om::InstanceProvider {
public:
    DiskInstanceStore(std::shared_ptr<RepositoryFile> file, om::StoreLimits limits = om::StoreLimits());

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls,
                   om::Sink<KVOSmrPtr<IKivoObject>> const& out) override;
    KVOSmrPtr<IKivoObject> get(KVOString const& nameSpace, IKivoClass const& cls,
                               IKivoInstanceName const& path) override;
    void create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                Change const& change) override;
    void remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override;

    // Instances stored for the class (exactly it), and in the whole file.
    std::uint64_t count(KVOString const& nameSpace, IKivoClass const& cls) const;

private:
    std::shared_ptr<RepositoryFile> const _file;
    om::StoreLimits const _limits;
};

}  // namespace kivo::repo
