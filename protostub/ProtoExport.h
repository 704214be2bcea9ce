// ZORV_PROTO_API marks what the library exports: ProtoStub and the reply
// record's out-of-line members. Everything else is built with hidden
// visibility. ZORV_PROTO_STATIC is defined for static builds.
#pragma once

#if defined(ZORV_PROTO_STATIC)
#define ZORV_PROTO_API
#elif defined(_WIN32)
#if defined(ZORV_PROTO_BUILDING)
#define ZORV_PROTO_API __declspec(dllexport)
#else
#define ZORV_PROTO_API __declspec(dllimport)
#endif
#else
#define ZORV_PROTO_API __attribute__((visibility("default")))
#endif
