// The escape strings that CIM-XML writers substitute for characters that may
// not appear literally in XML text or attribute values.
//
// Every source file of the adapters' common layer includes this header; the
// constants are file-local, so each including source file has its own copy,
// built by its static initialisers at load time and destroyed at unload. They
// are never modified, so any thread may read them once static initialisation
// is over. Nothing in the common layer reads them: they are there for the
// adapters that write CIM-XML. There is deliberately no entry for the
// ampersand; a writer that needs one spells it itself.
#pragma once

#include "KivoUtilities/KVOString.h"

static KVOString const XML_LT("&lt;");             // <
static KVOString const XML_GT("&gt;");             // >
static KVOString const XML_QUOTE("&quot;");        // "
static KVOString const HTML_LINE_FEED("&#10;");    // line feed, character 10
static KVOString const HTML_SPACE("&#32;");        // space, character 32
