/* The functions of Apple System Log that this project calls, by asl(3). For the cross build on Linux only. */
#ifndef ASL_H
#define ASL_H

#include <sys/cdefs.h>

typedef struct __asl_object_s* asl_object_t;

__BEGIN_DECLS
int asl_log(asl_object_t client, asl_object_t msg, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5), availability(macosx, introduced = 10.4, deprecated = 10.12)));
__END_DECLS

#endif
