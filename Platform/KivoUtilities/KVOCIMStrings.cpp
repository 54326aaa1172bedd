#include "KivoUtilities/KVOCIMStrings.h"

KVOString const KVOCIMStrings::EXECUTEQUERY("ExecQuery");
KVOString const KVOCIMStrings::CLOSEENUMERATION("CloseEnumeration");
KVOString const KVOCIMStrings::OPENENUMERATEINSTANCES("OpenEnumerateInstances");
KVOString const KVOCIMStrings::OPEN_ENUMERATE_INSTANCE_PATHS("OpenEnumerateInstancePaths");
KVOString const KVOCIMStrings::OPEN_REFERENCE_INSTANCES("OpenReferenceInstances");
KVOString const KVOCIMStrings::OPEN_REFERENCE_INSTANCE_PATHS("OpenReferenceInstancePaths");
KVOString const KVOCIMStrings::OPEN_ASSOCIATOR_INSTANCES("OpenAssociatorInstances");
KVOString const KVOCIMStrings::OPEN_ASSOCIATOR_INSTANCE_PATHS("OpenAssociatorInstancePaths");
KVOString const KVOCIMStrings::OPEN_QUERY_INSTANCES("OpenQueryInstances");
KVOString const KVOCIMStrings::PULL_INSTANCES_WITH_PATH("PullInstancesWithPath");
KVOString const KVOCIMStrings::PULL_INSTANCE_PATHS("PullInstancePaths");
KVOString const KVOCIMStrings::PULL_INSTANCES("PullInstances");
