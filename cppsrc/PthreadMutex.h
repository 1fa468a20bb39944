/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_PTHREADMUTEX_DEFINITION_H
#define RYNVEL_PTHREADMUTEX_DEFINITION_H

#include "rynvel/PthreadMutex.h"

#include "RynvelTrace.h"

namespace Rynvel {

inline bool PthreadMutex::take() {
    RYNVEL_TRACE_POINT_OF(here, "lock");
    const int error = pthread_mutex_lock(&m_mutex);
    return error == 0 || report(error, "pthread_mutex_lock", here);
}

inline bool PthreadMutex::release() {
    RYNVEL_TRACE_POINT_OF(here, "unlock");
    const int error = pthread_mutex_unlock(&m_mutex);
    return error == 0 || report(error, "pthread_mutex_unlock", here);
}

} // namespace Rynvel

#endif
