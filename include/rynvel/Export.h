/**
 * @file
 * Marks what librynvel exports. Valid C99 and C++.
 */
#ifndef RYNVEL_EXPORT_H
#define RYNVEL_EXPORT_H

#define RYNVEL_EXPORT __attribute__((visibility("default")))

/** For the private members of an exported class. */
#define RYNVEL_LOCAL __attribute__((visibility("hidden")))

#endif
