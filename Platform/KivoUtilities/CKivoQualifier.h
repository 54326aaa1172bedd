// CKivoQualifier lives with the other concrete CIM data objects.
#pragma once
#include "KivoUtilities/CKivoData.h"
