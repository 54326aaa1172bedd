// The model the server starts with, embedded in the code.
//
// root/cimv2 holds a small hierarchy under the KIVO_ prefix: an abstract
// managed element; logical devices (disk drives, network ports) and a
// computer system; the association KIVO_SystemDevice between a system and
// its devices; methods with input and output parameters and a return value
// (KIVO_DiskDrive.Resize, KIVO_ComputerSystem.RequestStateChange, and the
// static KIVO_ComputerSystem.CountDevices); and the scale class
// KIVO_ScaleItem, whose instances a provider makes on demand (their number is
// a setting). It also holds the small Sample_ model that the captured client
// requests of the CIM-XML samples address. root/interop holds KIVO_Namespace
// (one instance per namespace, made on demand) and KIVO_ObjectManager. Both
// namespaces declare the standard qualifiers the classes use.
#pragma once

#include "objectmanager/ObjectManager.h"

namespace kivo::om {

struct ModelSettings {
    // Number of KIVO_ScaleItem instances.
    unsigned scaleInstances = 1000;
};

// Fills an empty object manager with the default model.
void loadDefaultModel(ObjectManager& om, ModelSettings const& settings);

// The namespaces of the default model.
inline constexpr char kCimv2[] = "root/cimv2";
inline constexpr char kInterop[] = "root/interop";

}  // namespace kivo::om
