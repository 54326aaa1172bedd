#include "KivoUtilities/IQualifierDef.h"

#include "KivoUtilities/CKivoData.h"

namespace qora {

KVOCIMType IQualifierDef::getCIMType() const {
    KVOCIMType t = KVOCIMType::String;
    KVOCIMTypes::fromName(getType(), t);
    return t;
}

KVOSmrPtr<IKivoValue> IQualifierDef::getDefault() const {
    KVOString const text = getDefaultValue();
    if (text.isEmpty()) return nullptr;
    try {
        return CKivoValue::parse(getCIMType(), text);
    } catch (KivoBaseException const&) {
        return CKivoValue::makeString(text);
    }
}

}  // namespace qora
