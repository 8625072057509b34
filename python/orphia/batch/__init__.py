# SPDX-License-Identifier: GPL-3.0-or-later
"""Many files: the command ``orphia batch``, on this machine's processors or on a cluster."""
