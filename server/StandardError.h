/**
 * @file
 * What the server writes for its administrator.
 */
#ifndef RYNVELD_STANDARDERROR_H
#define RYNVELD_STANDARDERROR_H

namespace Rynveld {

/**
 * Lets writing to standard error lose what nobody takes, instead of blocking, in this process alone. A terminal or pipe
 * that stands still would otherwise hold the thread that traces, and with it the clients that it serves and the end of
 * the process.
 */
void makeStandardErrorNonBlocking();

} // namespace Rynveld

#endif
