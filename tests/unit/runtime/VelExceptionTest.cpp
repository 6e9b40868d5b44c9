// SPDX-FileCopyrightText: libvelpmsg contributors
// SPDX-License-Identifier: Apache-2.0
// Code, text and streamed additions of VelException.
#include "velp/runtime/VelException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iomanip>
#include <string>
#include <type_traits>

TEST(VelException, TextIsFollowedByTheSystemsDescriptionAndNumber) {
  const VelException sut(ECONNREFUSED, "cannot connect");

  EXPECT_STREQ(sut.what(), "cannot connect: Connection refused (111)");
  EXPECT_EQ(sut.getErrorCode(), ECONNREFUSED);
}

TEST(VelException, Code0AddsNothing) {
  const VelException sut(0, "no system error");

  EXPECT_STREQ(sut.what(), "no system error");
  EXPECT_EQ(sut.getErrorCode(), 0);
}

TEST(VelException, UnknownCodeShowsItsNumber) {
  const VelException sut(99999, "odd");

  EXPECT_STREQ(sut.what(), "odd: Unknown error 99999 (99999)");
}

TEST(VelException, StreamedOutputAppends) {
  VelException sut(EINVAL, "refused");

  sut << ", name=" << 5;

  EXPECT_STREQ(sut.what(), "refused: Invalid argument (22), name=5");
}

TEST(VelException, WhatMayBeAskedBetweenAdditions) {
  VelException sut(0, "a");
  EXPECT_STREQ(sut.what(), "a");

  sut << "b";

  EXPECT_STREQ(sut.what(), "ab");
}

TEST(VelException, AddErrorAppendsAndReplacesTheCode) {
  VelException sut(EINVAL, "refused");

  sut.addError(EPERM);

  EXPECT_STREQ(sut.what(), "refused: Invalid argument (22): Operation not permitted (1)");
  EXPECT_EQ(sut.getErrorCode(), EPERM);
}

TEST(VelException, AddErrorOf0ChangesNothing) {
  VelException sut(EINVAL, "refused");

  sut.addError(0);

  EXPECT_STREQ(sut.what(), "refused: Invalid argument (22)");
  EXPECT_EQ(sut.getErrorCode(), EINVAL);
}

TEST(VelException, AddErrorIgnoresFormatsSetOnTheStream) {
  VelException sut(0, "text");
  sut << std::hex << std::setw(40);

  sut.addError(EINVAL);

  EXPECT_STREQ(sut.what(), "text: Invalid argument (22)");
}

TEST(VelException, CopyHasTheWholeTextAndAppendsToIt) {
  VelException original(EINVAL, "refused");
  original << " once";

  VelException copy(original);
  copy << " and again";

  EXPECT_STREQ(copy.what(), "refused: Invalid argument (22) once and again");
  EXPECT_STREQ(original.what(), "refused: Invalid argument (22) once");
  EXPECT_EQ(copy.getErrorCode(), EINVAL);
}

TEST(VelException, IsThrownByValueAndCaughtAsAStandardException) {
  VelException thrown(EIO, "broken");
  thrown << "!";

  try {
    throw VelException(thrown);
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "broken: Input/output error (5)!");
  }
}

TEST(VelException, IsAnOutputStringStream) {
  EXPECT_TRUE((std::is_base_of_v<std::ostringstream, VelException>));
}
