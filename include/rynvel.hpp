// SPDX-License-Identifier: MIT
/**
 * @file
 * The C++ classes of librynvel. If your program works with integer handles, include rynvel.h instead.
 */
#ifndef RYNVEL_HPP
#define RYNVEL_HPP

#include "rynvel/ByteOrder.h"
#include "rynvel/Connection.h"
#include "rynvel/Device.h"
#include "rynvel/Factory.h"
#include "rynvel/FpgaSpi32.h"
#include "rynvel/HexU32Struct.h"
#include "rynvel/IDevice.h"
#include "rynvel/IMutex.h"
#include "rynvel/LinuxIo.h"
#include "rynvel/Lseek.h"
#include "rynvel/MemoryDevice.h"
#include "rynvel/Messages.h"
#include "rynvel/Mmap.h"
#include "rynvel/PthreadMutex.h"
#include "rynvel/Remote.h"
#include "rynvel/RemoteDeviceConnection.h"
#include "rynvel/Tyvon.h"
#include "rynvel/TyvonInterrupt.h"
#include "rynvel/Uio.h"
#include "rynvel/Version.h"

#endif
