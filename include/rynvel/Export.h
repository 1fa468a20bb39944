/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Macros for the symbols that librynvel exports. The header is valid C99 and C++.
 */
#ifndef RYNVEL_EXPORT_H
#define RYNVEL_EXPORT_H

/** Marks a function or a class that the library exports. */
#define RYNVEL_EXPORT __attribute__((visibility("default")))

/** Marks a private member of an exported class. The library does not export the member. */
#define RYNVEL_LOCAL __attribute__((visibility("hidden")))

#endif
