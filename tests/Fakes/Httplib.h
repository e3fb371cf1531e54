// cpp-httplib for the loopback servers of tests and benchmarks. Debian's build pulls in OpenSSL, whose
// headers name a type `UI`, which is our namespace: the type is renamed while those headers are read.
#pragma once

#define UI OpenSSL_UI
#include <httplib.h>
#undef UI
