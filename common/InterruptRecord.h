/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The record that a server sends to a client for each interrupt.
 */
#ifndef RYNVEL_COMMON_INTERRUPTRECORD_H
#define RYNVEL_COMMON_INTERRUPTRECORD_H

#include <rynvel.hpp>

#include <cstdint>

namespace Common {

Rynvel::InterruptMessage interruptRecord(std::uint32_t word);

std::uint32_t interruptWord(const Rynvel::InterruptMessage& record);

} // namespace Common

#endif
