#include "KivoUtilities/IKivoInstanceName.h"

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KVOCIMText.h"

std::vector<KVOKeyBinding> IKivoInstanceName::getKeys() const {
    std::vector<KVOKeyBinding> keys;
    for (auto const& [name, text] : getKeyBindings()) keys.push_back({name, CKivoValue::makeString(text)});
    return keys;
}

KVOSmrPtr<IKivoValue> IKivoInstanceName::getKey(KVOString const& name) const {
    for (KVOKeyBinding const& k : getKeys())
        if (k.name.equalsIgnoreCase(name)) return k.value;
    return nullptr;
}

KVOString IKivoInstanceName::toString() const {
    KVOString out;
    if (!getHost().isEmpty()) out += "//" + getHost() + "/";
    if (!getNameSpace().isEmpty()) out += getNameSpace() + ":";
    out += getClassName();
    char sep = '.';
    for (KVOKeyBinding const& k : getKeys()) {
        out += sep;
        sep = ',';
        out += k.name + "=";
        if (!k.value) continue;
        KVOCIMType const t = k.value->getCIMType();
        if (t == KVOCIMType::Boolean || KVOCIMTypes::isNumeric(t)) out += k.value->toString();
        else out += KVOCIMText::quote(k.value->toString());
    }
    return out;
}

bool IKivoInstanceName::sameAs(IKivoInstanceName const& other) const {
    if (!getClassName().equalsIgnoreCase(other.getClassName())) return false;
    KVOString const ns = getNameSpace(), otherNs = other.getNameSpace();
    if (!ns.isEmpty() && !otherNs.isEmpty() && !ns.equalsIgnoreCase(otherNs)) return false;
    std::vector<KVOKeyBinding> const mine = getKeys(), theirs = other.getKeys();
    if (mine.size() != theirs.size()) return false;
    for (KVOKeyBinding const& k : mine) {
        KVOSmrPtr<IKivoValue> v = other.getKey(k.name);
        if (!v || !k.value || !k.value->sameValue(*v)) return false;
    }
    return true;
}
