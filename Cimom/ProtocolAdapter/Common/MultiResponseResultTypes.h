// The result types that the library's multi-result operations stream, listed
// once for the explicit instantiations of the collection, the writer and the
// multi-result operation base.
//
// QORA_MULTI_RESPONSE_RESULT_TYPES(X) expands X(type) for each of them. Each
// template's header declares `extern template` for every type on the list and
// its source file instantiates them, so users of these six types compile none
// of the templates' bodies; any other type is instantiated where it is used.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/IKivoProperty.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"

// class names, classes, instance paths, instances, classes or instances as
// values, and query result rows.
#define QORA_MULTI_RESPONSE_RESULT_TYPES(X)  \
    X(KVOString)                             \
    X(KVOSmrPtr<IKivoClass>)                 \
    X(KVOSmrPtr<IKivoInstanceName>)          \
    X(KVOSmrPtr<IKivoObject>)                \
    X(KVOSmrPtr<IKivoValue>)                 \
    X(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoProperty>>>)
