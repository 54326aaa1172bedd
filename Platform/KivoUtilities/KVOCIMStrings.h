// DSP0200 operation names as constants, used as the names of the pulled
// enumeration and query operations.
#pragma once

#include "KivoUtilities/KVOString.h"

struct KVOCIMStrings {
    static KVOString const EXECUTEQUERY;
    static KVOString const CLOSEENUMERATION;
    static KVOString const OPENENUMERATEINSTANCES;
    static KVOString const OPEN_ENUMERATE_INSTANCE_PATHS;
    static KVOString const OPEN_REFERENCE_INSTANCES;
    static KVOString const OPEN_REFERENCE_INSTANCE_PATHS;
    static KVOString const OPEN_ASSOCIATOR_INSTANCES;
    static KVOString const OPEN_ASSOCIATOR_INSTANCE_PATHS;
    static KVOString const OPEN_QUERY_INSTANCES;
    static KVOString const PULL_INSTANCES_WITH_PATH;
    static KVOString const PULL_INSTANCE_PATHS;
    static KVOString const PULL_INSTANCES;
};
