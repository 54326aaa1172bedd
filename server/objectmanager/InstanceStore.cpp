#include "objectmanager/InstanceStore.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassRepository.h"
#include "objectmanager/Instances.h"

#include "KivoUtilities/CKivoData.h"

#include <algorithm>
#include <mutex>

namespace kivo::om {

namespace {

char const kWhere[] = "InstanceStore";

void appendField(std::string& out, std::string const& text) {
    out += std::to_string(text.size());
    out += ':';
    out += text;
}

[[noreturn]] void overQuota(std::string const& what) { raise(CIM_ERR_SERVER_LIMITS_EXCEEDED, kWhere, what); }

}  // namespace

std::string normalisedKey(IKivoClass const& cls, IKivoInstanceName const& path, bool* exact) {
    std::vector<std::pair<std::string, std::string>> keys;
    // Exact: every key of the class given once, converted to its declared
    // type, and no reference (whose text may name one path in two ways); a
    // miss is then a miss, without a scan.
    bool canonical = path.getKeys().size() == ClassRepository::keyNames(cls).size();
    for (KVOKeyBinding const& k : path.getKeys()) {
        KVOSmrPtr<IKivoValue> value = k.value;
        KVOSmrPtr<IKivoProperty> decl = cls.getProperty(k.name);
        if (!decl || !value || !ClassRepository::isKey(*decl) || decl->getCIMType() == KVOCIMType::Reference)
            canonical = false;
        if (decl && value) {
            try {
                value = CKivoValue::convert(value, decl->getCIMType());
            } catch (KivoBaseException const&) {
                canonical = false;  // left as given: a lookup falls back to a scan
            }
        }
        std::string text = value ? std::to_string(static_cast<int>(value->getCIMType())) + "/" + value->toString().str()
                                 : std::string("-");
        keys.emplace_back(nameKey(k.name), std::move(text));
    }
    std::sort(keys.begin(), keys.end());
    std::string out;
    for (auto const& [name, text] : keys) {
        appendField(out, name);
        appendField(out, text);
    }
    for (std::size_t i = 1; i < keys.size(); ++i)
        if (keys[i].first == keys[i - 1].first) canonical = false;
    if (exact) *exact = canonical;
    return out;
}

std::uint64_t InstanceStore::sizeOf(IKivoObject const& instance) {
    std::uint64_t bytes = 0;
    for (KVOSmrPtr<IKivoProperty> const& p : instance.getProperties()) {
        bytes += 32 + p->getName().str().size();
        if (KVOSmrPtr<IKivoValue> v = p->getValue()) bytes += v->toString().str().size();
    }
    return bytes;
}

std::string InstanceStore::bucketName(KVOString const& nameSpace, IKivoClass const& cls) {
    return nameSpaceKey(nameSpace) + ":" + nameKey(cls.getName());
}

std::map<std::uint64_t, InstanceStore::Entry>::iterator InstanceStore::locate(Bucket& bucket, IKivoClass const& cls,
                                                                             IKivoInstanceName const& path) {
    bool exact = false;
    auto hit = bucket.index.find(normalisedKey(cls, path, &exact));
    if (hit != bucket.index.end()) return bucket.order.find(hit->second);
    if (exact) return bucket.order.end();
    for (auto it = bucket.order.begin(); it != bucket.order.end(); ++it)
        if (sameKeys(*it->second.instance->getInstanceName(), path)) return it;
    return bucket.order.end();
}

void InstanceStore::enumerate(KVOString const& nameSpace, IKivoClass const& cls,
                              Sink<KVOSmrPtr<IKivoObject>> const& out) {
    std::vector<KVOSmrPtr<IKivoObject>> snapshot;
    {
        std::shared_lock guard(_lock);
        auto it = _buckets.find(bucketName(nameSpace, cls));
        if (it == _buckets.end()) return;
        snapshot.reserve(it->second.order.size());
        for (auto const& [serial, entry] : it->second.order) snapshot.push_back(entry.instance);
    }
    for (KVOSmrPtr<IKivoObject> const& instance : snapshot)
        if (!out(instance)) return;
}

KVOSmrPtr<IKivoObject> InstanceStore::get(KVOString const& nameSpace, IKivoClass const& cls,
                                          IKivoInstanceName const& path) {
    std::shared_lock guard(_lock);
    auto it = _buckets.find(bucketName(nameSpace, cls));
    if (it == _buckets.end()) return nullptr;
    auto found = locate(it->second, cls, path);
    return found == it->second.order.end() ? nullptr : found->second.instance;
}

void InstanceStore::create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) {
    std::string key = normalisedKey(cls, *instance->getInstanceName());
    std::uint64_t const bytes = sizeOf(*instance);
    std::unique_lock guard(_lock);
    Bucket& bucket = _buckets[bucketName(nameSpace, cls)];
    if (bucket.index.count(key) != 0)
        raise(CIM_ERR_ALREADY_EXISTS, kWhere, instance->getInstanceName()->toString() + " already exists");
    if (bucket.order.size() >= _limits.maxInstancesPerClass) {
        overQuota("class " + cls.getName().str() + " already has " + std::to_string(_limits.maxInstancesPerClass) +
                  " instances (the most a class may hold)");
    }
    if (bytes > _limits.maxBytes - std::min(_bytes, _limits.maxBytes)) {
        overQuota("the instance (" + std::to_string(bytes) + " bytes) would take the store over its " +
                  std::to_string(_limits.maxBytes) + " bytes of instance data");
    }
    std::uint64_t const serial = bucket.next++;
    bucket.order.emplace(serial, Entry{instance, bytes});
    bucket.index.emplace(std::move(key), serial);
    _bytes += bytes;
}

void InstanceStore::replace(Entry& at, KVOSmrPtr<IKivoObject> const& instance) {
    std::uint64_t const bytes = sizeOf(*instance);
    if (bytes > at.bytes && bytes - at.bytes > _limits.maxBytes - std::min(_bytes, _limits.maxBytes)) {
        overQuota("the changed instance (" + std::to_string(bytes) + " bytes) would take the store over its " +
                  std::to_string(_limits.maxBytes) + " bytes of instance data");
    }
    _bytes = _bytes - at.bytes + bytes;
    at.bytes = bytes;
    at.instance = instance;
}

void InstanceStore::modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) {
    update(nameSpace, cls, *instance->getInstanceName(), [&](IKivoObject const&) { return instance; });
}

void InstanceStore::update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                           Change const& change) {
    std::unique_lock guard(_lock);
    auto it = _buckets.find(bucketName(nameSpace, cls));
    auto found = it == _buckets.end() ? std::map<std::uint64_t, Entry>::iterator() : locate(it->second, cls, path);
    if (it == _buckets.end() || found == it->second.order.end())
        raise(CIM_ERR_NOT_FOUND, kWhere, path.toString() + " not found");
    KVOSmrPtr<IKivoObject> changed = change(*found->second.instance);
    if (!sameKeys(*changed->getInstanceName(), *found->second.instance->getInstanceName()))
        raise(CIM_ERR_FAILED, kWhere, "a change may not alter the keys of " + path.toString());
    replace(found->second, changed);
}

void InstanceStore::remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) {
    std::unique_lock guard(_lock);
    auto it = _buckets.find(bucketName(nameSpace, cls));
    auto found = it == _buckets.end() ? std::map<std::uint64_t, Entry>::iterator() : locate(it->second, cls, path);
    if (it == _buckets.end() || found == it->second.order.end())
        raise(CIM_ERR_NOT_FOUND, kWhere, path.toString() + " not found");
    _bytes -= found->second.bytes;
    it->second.index.erase(normalisedKey(cls, *found->second.instance->getInstanceName()));
    it->second.order.erase(found);
}

std::uint64_t InstanceStore::bytes() const {
    std::shared_lock guard(_lock);
    return _bytes;
}

}  // namespace kivo::om
