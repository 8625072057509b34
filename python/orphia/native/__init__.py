# SPDX-License-Identifier: GPL-3.0-or-later
"""The compiled half, the engine's library and the command: private to the package."""
