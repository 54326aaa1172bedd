// Static operations shared by the library and the protocol adapters: the one
// call for log records, and conversions between string lists and value lists
// (offered to the adapters; nothing in the library converts).
//
// No fields and no instances; every operation is re-entrant.
#pragma once

#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"
#include "KivoUtilities/KivoTraceLog.h"

class AdapterUtils {
public:
    AdapterUtils() = delete;

    // Writes one record to the object manager's log with verbosity 2 and the
    // category CIMOMLOG.
    static void log(KVOString const& who, KVOString const& what, KivoTraceLog::Severity severity);

    // One new CKivoValue per string, in order, in a new list; the input list
    // is left as it was. A null list gives null, an empty one a new empty list.
    static KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoValue>>> convert(KVOSmrPtr<KVOValSlist<KVOString>> const& valList);

    // The string forms (IKivoValue::toString) of the values, in order, in a
    // new list; a null list gives null. With removeDuplicates each string is
    // lower-cased and kept only at its first appearance, so the result holds
    // lower-case strings without repetitions; without it every string is kept
    // unchanged. A null element raises the smart pointer's null-pointer error.
    // The input list must not change during the call.
    static KVOSmrPtr<KVOValSlist<KVOString>> convert(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoValue>>> const& valList,
                                                     bool removeDuplicates);
};
