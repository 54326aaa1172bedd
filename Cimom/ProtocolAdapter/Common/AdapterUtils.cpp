#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"

#include "KivoUtilities/CKivoValue.h"
#include "KivoUtilities/KVOCIMUtils.h"
#include "KivoUtilities/KVOLog.h"

#include <utility>

void AdapterUtils::log(KVOString const& who, KVOString const& what, KivoTraceLog::Severity severity) {
    KVOLog::log(who, what, severity, 2, 0, KVOLog::CIMOMLOG);
}

KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoValue>>> AdapterUtils::convert(KVOSmrPtr<KVOValSlist<KVOString>> const& valList) {
    if (!valList) return nullptr;
    KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoValue>>> convertedList(new KVOValSlist<KVOSmrPtr<IKivoValue>>);
    for (KVOString const& s : *valList) convertedList->append(KVOSmrPtr<IKivoValue>(new CKivoValue(s)));
    return convertedList;
}

KVOSmrPtr<KVOValSlist<KVOString>> AdapterUtils::convert(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoValue>>> const& valList,
                                                        bool removeDuplicates) {
    if (!valList) return nullptr;
    KVOSmrPtr<KVOValSlist<KVOString>> convertedList(new KVOValSlist<KVOString>);
    for (KVOSmrPtr<IKivoValue> const& value : *valList) {
        KVOString s = value->toString();
        if (removeDuplicates) {
            s.toLower();
            if (convertedList->contains(s)) continue;
        }
        convertedList->append(std::move(s));
    }
    return convertedList;
}
