/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The characters that the register protocol allows in a device name.
 */
#ifndef RYNVEL_COMMON_DEVICENAME_H
#define RYNVEL_COMMON_DEVICENAME_H

namespace Common {

/**
 * Returns whether a character is a control character: 0 to 31, or 127. A server disconnects a client that sends a
 * device name with a control character.
 */
inline bool isControlCharacter(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '\x7F';
}

} // namespace Common

#endif
