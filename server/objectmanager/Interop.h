// The interop namespace (root/interop): how a client discovers the server.
//
// Registers the providers of the DMTF interop classes: one CIM_ObjectManager
// (the server itself, with its name, version and description), a
// CIM_Namespace for every namespace of the repository with a
// CIM_NamespaceInManager from the object manager to each, the
// CIM_RegisteredProfile instances of the profiles the server implements, and
// CIM_ElementConformsToProfile from each profile to the object manager, and
// the CIM-XML mechanism (CIM_CIMXMLCommunicationMechanism) with a
// CIM_CommMechanismForManager from the object manager to it. The instances
// are made on demand from the repository as it is at the call; all are
// read-only (create, modify and delete answer CIM_ERR_NOT_SUPPORTED).
//
// Who calls it: the server at start-up, after the interop classes were loaded
// into root/interop (server/mof/model/interop.mof). Tests.
// Threading: as ObjectManager's set-up: once, before requests are served.
// The providers it registers keep only immutable data and read the
// repository, so worker threads may call them at once.
#pragma once

#include "objectmanager/ObjectManager.h"

namespace kivo::om {

// What CIM_ObjectManager says of the server.
struct ServerIdentity {
    KVOString name = "kivo";            // CIM_ObjectManager.Name
    KVOString version = "0.1.0";        // the product version
    KVOString description = "Kivo CIM-XML server";
    KVOString hostName;                 // SystemName; empty: the machine's host name
    // The CIM-XML mechanism's AuthenticationMechanismsSupported: Basic when
    // set, None otherwise.
    bool basicAuthentication = false;
};

// Registers the interop providers in `nameSpace` (root/interop by default).
// Raises CIM_ERR_INVALID_CLASS when an interop class is not loaded there.
void addInteropProviders(ObjectManager& om, ServerIdentity const& identity, KVOString const& nameSpace = "root/interop");

}  // namespace kivo::om
