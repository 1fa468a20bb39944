/**
 * @file
 * The record that reports an interrupt to a client, as it goes over the wire.
 */
#ifndef RYNVEL_COMMON_INTERRUPTRECORD_H
#define RYNVEL_COMMON_INTERRUPTRECORD_H

#include <cstdint>

#include <rynvel.hpp>

namespace Common {

Rynvel::InterruptMessage interruptRecord(std::uint32_t word);

std::uint32_t interruptWord(const Rynvel::InterruptMessage& record);

} // namespace Common

#endif
