/* The functions for extended attributes that this project and its tests call, by setxattr(2). For the cross build on
   Linux only. */
#ifndef SYS_XATTR_H
#define SYS_XATTR_H

#include <sys/cdefs.h>
#include <sys/types.h>

#define XATTR_RESOURCEFORK_NAME "com.apple.ResourceFork"

__BEGIN_DECLS
ssize_t getxattr(const char* path, const char* name, void* value, size_t size, u_int32_t position, int options);
ssize_t fgetxattr(int fd, const char* name, void* value, size_t size, u_int32_t position, int options);
int setxattr(const char* path, const char* name, const void* value, size_t size, u_int32_t position, int options);
int fsetxattr(int fd, const char* name, const void* value, size_t size, u_int32_t position, int options);
ssize_t flistxattr(int fd, char* names, size_t size, int options);
__END_DECLS

#endif
