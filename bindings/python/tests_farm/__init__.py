# SPDX-License-Identifier: MIT
"""Tests of `qel_unit.farm`. QEL_TOOL names the tool; schedulers and workers are processes on 127.0.0.1."""
