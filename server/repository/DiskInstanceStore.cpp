#include "repository/DiskInstanceStore.h"

#include "repository/RepositoryFileImpl.h"
#include "repository/ValueCodec.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassRepository.h"
#include "objectmanager/Instances.h"

#include <algorithm>

namespace kivo::repo {

namespace {

char const kWhere[] = "DiskInstanceStore";

std::string bucketOf(KVOString const& nameSpace, IKivoClass const& cls) {
    return om::nameSpaceKey(nameSpace) + ":" + om::nameKey(cls.getName());
}

[[noreturn]] void overQuota(std::string const& what) { om::raise(om::CIM_ERR_SERVER_LIMITS_EXCEEDED, kWhere, what); }

[[noreturn]] void notFound(IKivoInstanceName const& path) {
    om::raise(om::CIM_ERR_NOT_FOUND, kWhere, path.toString() + " not found");
}

}  // namespace

struct DiskInstanceStore::Found {
    std::int64_t seq = 0;
    std::uint64_t bytes = 0;
    KVOSmrPtr<IKivoObject> instance;
};

DiskInstanceStore::DiskInstanceStore(std::shared_ptr<RepositoryFile> file, om::StoreLimits limits)
    : _file(std::move(file)), _limits(limits) {
    _file->impl().read([&](Connection& c) {
        Query q = c.query("SELECT ns, cls, count(*), total(bytes) FROM instances GROUP BY ns, cls");
        while (q.next()) {
            Usage& u = _usage[std::string(q.text(0)) + ":" + std::string(q.text(1))];
            u.count = static_cast<std::uint64_t>(q.integer(2));
            u.bytes = static_cast<std::uint64_t>(q.integer(3));
            _bytes += u.bytes;
        }
    });
}

KVOSmrPtr<IKivoObject> DiskInstanceStore::build(KVOString const& nameSpace, IKivoClass const& cls,
                                                std::string_view data) {
    om::PropertyValues stored = codec::readRow(data);
    // The class may have changed since the row was written: values of
    // properties it no longer has are dropped, and values that no longer
    // fit their property give way to its default.
    om::PropertyValues kept;
    kept.reserve(stored.size());
    std::vector<KVOSmrPtr<IKivoProperty>> const decls = cls.getProperties();
    for (auto& [name, value] : stored) {
        auto decl = std::find_if(decls.begin(), decls.end(), [&](auto const& d) { return d->getName().equalsIgnoreCase(name); });
        if (decl == decls.end()) continue;
        if (value && (value->isArray() != (*decl)->isArray() || value->getCIMType() != (*decl)->getCIMType())) {
            if (value->isArray() != (*decl)->isArray()) continue;
            try {
                value = CKivoValue::convert(value, (*decl)->getCIMType());
            } catch (KivoBaseException const&) {
                continue;
            }
        }
        kept.emplace_back(std::move(name), std::move(value));
    }
    return om::buildInstance(nameSpace, cls, kept);
}

bool DiskInstanceStore::locate(Connection& c, KVOString const& nameSpace, IKivoClass const& cls,
                               IKivoInstanceName const& path, Found& found) {
    bool exact = false;
    std::string const key = om::normalisedKey(cls, path, &exact);
    std::string const ns = om::nameSpaceKey(nameSpace), name = om::nameKey(cls.getName());
    {
        Query q = c.query("SELECT seq, bytes, data FROM instances WHERE ns = ?1 AND cls = ?2 AND key = ?3");
        q.bindText(1, ns).bindText(2, name).bindBlob(3, key);
        if (q.next()) {
            found = {q.integer(0), static_cast<std::uint64_t>(q.integer(1)), build(nameSpace, cls, q.blob(2))};
            return true;
        }
    }
    if (exact) return false;
    // Keys that are not canonical: compare with every instance, as the
    // in-memory store does.
    Query q = c.query("SELECT seq, bytes, data FROM instances WHERE ns = ?1 AND cls = ?2 ORDER BY seq");
    q.bindText(1, ns).bindText(2, name);
    while (q.next()) {
        KVOSmrPtr<IKivoObject> instance = build(nameSpace, cls, q.blob(2));
        if (om::sameKeys(*instance->getInstanceName(), path)) {
            found = {q.integer(0), static_cast<std::uint64_t>(q.integer(1)), std::move(instance)};
            return true;
        }
    }
    return false;
}

void DiskInstanceStore::charge(std::string const& bucket, IKivoClass const& cls, int countDelta,
                               std::uint64_t oldBytes, std::uint64_t newBytes) {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        Usage& u = _usage[bucket];
        if (countDelta > 0 && u.count >= _limits.maxInstancesPerClass) {
            overQuota("class " + cls.getName().str() + " already has " + std::to_string(_limits.maxInstancesPerClass) +
                      " instances (the most a class may hold)");
        }
        if (newBytes > oldBytes && newBytes - oldBytes > _limits.maxBytes - std::min(_bytes, _limits.maxBytes)) {
            overQuota(std::string(countDelta > 0 ? "the instance (" : "the changed instance (") +
                      std::to_string(newBytes) + " bytes) would take the store over its " +
                      std::to_string(_limits.maxBytes) + " bytes of instance data");
        }
        u.count += static_cast<std::uint64_t>(static_cast<std::int64_t>(countDelta));
        u.bytes = u.bytes - oldBytes + newBytes;
        _bytes = _bytes - oldBytes + newBytes;
    }
    _file->impl().onRollback([this, bucket, countDelta, oldBytes, newBytes] {
        std::lock_guard<std::mutex> lock(_mutex);
        Usage& u = _usage[bucket];
        u.count -= static_cast<std::uint64_t>(static_cast<std::int64_t>(countDelta));
        u.bytes = u.bytes - newBytes + oldBytes;
        _bytes = _bytes - newBytes + oldBytes;
    });
}

void DiskInstanceStore::enumerate(KVOString const& nameSpace, IKivoClass const& cls,
                                  om::Sink<KVOSmrPtr<IKivoObject>> const& out) {
    _file->impl().read([&](Connection& c) {
        Query q = c.query("SELECT data FROM instances WHERE ns = ?1 AND cls = ?2 ORDER BY seq");
        q.bindText(1, om::nameSpaceKey(nameSpace)).bindText(2, om::nameKey(cls.getName()));
        while (q.next())
            if (!out(build(nameSpace, cls, q.blob(0)))) return;
    });
}

KVOSmrPtr<IKivoObject> DiskInstanceStore::get(KVOString const& nameSpace, IKivoClass const& cls,
                                              IKivoInstanceName const& path) {
    return _file->impl().read([&](Connection& c) {
        Found found;
        return locate(c, nameSpace, cls, path, found) ? found.instance : KVOSmrPtr<IKivoObject>();
    });
}

void DiskInstanceStore::create(KVOString const& nameSpace, IKivoClass const& cls,
                               KVOSmrPtr<IKivoObject> const& instance) {
    // Everything that needs no lock first: the key, the size and the row.
    KVOSmrPtr<IKivoInstanceName> const name = instance->getInstanceName();
    std::string const key = om::normalisedKey(cls, *name);
    std::uint64_t const bytes = om::InstanceStore::sizeOf(*instance);
    std::string const data = codec::writeRow(*instance);
    std::string const ns = om::nameSpaceKey(nameSpace), className = om::nameKey(cls.getName());
    std::string const bucket = ns + ":" + className;
    _file->impl().write([&](Connection& c) {
        {
            Query q = c.query("SELECT 1 FROM instances WHERE ns = ?1 AND cls = ?2 AND key = ?3");
            if (q.bindText(1, ns).bindText(2, className).bindBlob(3, key).next())
                om::raise(om::CIM_ERR_ALREADY_EXISTS, kWhere, name->toString() + " already exists");
        }
        charge(bucket, cls, 1, 0, bytes);
        c.query("INSERT INTO instances(ns, cls, key, bytes, data) VALUES(?1, ?2, ?3, ?4, ?5)")
            .bindText(1, ns)
            .bindText(2, className)
            .bindBlob(3, key)
            .bind(4, static_cast<std::int64_t>(bytes))
            .bindBlob(5, data)
            .run();
    });
}

void DiskInstanceStore::modify(KVOString const& nameSpace, IKivoClass const& cls,
                               KVOSmrPtr<IKivoObject> const& instance) {
    update(nameSpace, cls, *instance->getInstanceName(), [&](IKivoObject const&) { return instance; });
}

void DiskInstanceStore::update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                               Change const& change) {
    _file->impl().write([&](Connection& c) {
        Found found;
        if (!locate(c, nameSpace, cls, path, found)) notFound(path);
        KVOSmrPtr<IKivoObject> const changed = change(*found.instance);
        if (!om::sameKeys(*changed->getInstanceName(), *found.instance->getInstanceName()))
            om::raise(om::CIM_ERR_FAILED, kWhere, "a change may not alter the keys of " + path.toString());
        std::string const data = codec::writeRow(*changed);
        std::uint64_t const bytes = om::InstanceStore::sizeOf(*changed);
        charge(bucketOf(nameSpace, cls), cls, 0, found.bytes, bytes);
        c.query("UPDATE instances SET bytes = ?1, data = ?2 WHERE seq = ?3")
            .bind(1, static_cast<std::int64_t>(bytes))
            .bindBlob(2, data)
            .bind(3, found.seq)
            .run();
    });
}

void DiskInstanceStore::remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) {
    _file->impl().write([&](Connection& c) {
        Found found;
        if (!locate(c, nameSpace, cls, path, found)) notFound(path);
        charge(bucketOf(nameSpace, cls), cls, -1, found.bytes, 0);
        c.query("DELETE FROM instances WHERE seq = ?1").bind(1, found.seq).run();
    });
}

std::uint64_t DiskInstanceStore::count(KVOString const& nameSpace, IKivoClass const& cls) const {
    std::lock_guard<std::mutex> lock(_mutex);
    auto it = _usage.find(bucketOf(nameSpace, cls));
    return it == _usage.end() ? 0 : it->second.count;
}

std::uint64_t DiskInstanceStore::bytes() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _bytes;
}

}  // namespace kivo::repo
