// What widl's headers include for automation_types.idl: the platform's own declarations.
#pragma once
#include <oaidl.h>
