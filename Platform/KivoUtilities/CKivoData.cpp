#include "KivoUtilities/CKivoData.h"

#include <algorithm>

CI_AutoPtr_U<qora::Iterator<KVOString>> CKivoClass::getPropertyNames(int includeInherited) const {
    std::vector<KVOString> names = _propertyNames;
    if (includeInherited) {
        for (KVOSmrPtr<IKivoClass> c = _superClass; c; c = c->getSuperClass()) {
            auto it = c->getPropertyNames(0);
            while (it->hasNext()) {
                KVOString n = it->next();
                if (std::find(names.begin(), names.end(), n) == names.end()) names.push_back(n);
            }
        }
    }
    return std::make_unique<qora::VectorIterator<KVOString>>(std::move(names));
}
