# SPDX-License-Identifier: MIT
CMAKE_OPTIONS ?=
