/**
 * @file
 * What the register protocol allows in the name of a device.
 */
#ifndef RYNVEL_COMMON_DEVICENAME_H
#define RYNVEL_COMMON_DEVICENAME_H

namespace Common {

/** Whether a server hangs up on a client that names a device with this character: 0 to 31, and 127. */
inline bool isControlCharacter(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '\x7F';
}

} // namespace Common

#endif
