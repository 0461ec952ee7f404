#pragma once

// The declarations of the platform's MAPI headers for systems that have none. Names, values and
// the order of methods are the platform's (mapidefs.h, mapix.h, mapicode.h, objidl.h), and so
// are not named as the rest of this tree names things.

#include "mapi/mapi_native_base.h"
#include "mapi/mapi_native_codes.h"
#include "mapi/mapi_native_objects.h"
#include "mapi/mapi_native_properties.h"
#include "mapi/mapi_native_session.h"
#include "mapi/mapi_native_storage.h"
#include "mapi/mapi_native_table.h"
