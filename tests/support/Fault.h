/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_FAULT_H
#define RYNVEL_TESTS_FAULT_H

#include <csignal>

#include <gtest/gtest.h>

/** Expects the statement to end the process with SIGSEGV. A sanitizer ends the process itself after the signal. */
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define EXPECT_FAULT(statement) EXPECT_DEATH(statement, "")
#else
#define EXPECT_FAULT(statement) EXPECT_EXIT(statement, testing::KilledBySignal(SIGSEGV), "")
#endif

#endif
