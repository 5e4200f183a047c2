#pragma once
// modTools, the module's procedures by concern: the one-character constants, proper-casing,
// HL7 date/time text and the test for an empty dynamic array. A caller that needs one concern
// may include its header alone.

#include "support/array_tools.h"
#include "support/char_constants.h"
#include "support/hl7_date.h"
#include "support/proper_case.h"
