// Marks a function in which a kill (pthread_cancel) lands: the thread is unwound from inside the
// system call it makes, and the function's frame is abandoned there. AddressSanitizer would leave
// the redzones around its locals poisoned behind, just where its own runtime puts a local of its
// own as the unwinding thread runs its first destructor, and abort the program. A kill point's
// locals get no redzones.
#pragma once

#define ZU_KILL_POINT __attribute__((no_sanitize("address")))
