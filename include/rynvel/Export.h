/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Marks the symbols that librynvel exports. Valid C99 and C++.
 */
#ifndef RYNVEL_EXPORT_H
#define RYNVEL_EXPORT_H

#define RYNVEL_EXPORT __attribute__((visibility("default")))

/** Marks the private members of an exported class, which are not exported. */
#define RYNVEL_LOCAL __attribute__((visibility("hidden")))

#endif
