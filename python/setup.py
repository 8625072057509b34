# SPDX-License-Identifier: GPL-3.0-or-later
"""Makes the wheel of a package that CMake has built; scripts/python calls it."""
from setuptools import Distribution, find_packages, setup


class BuiltDistribution(Distribution):
    """Of one system and interpreter, though setuptools compiles nothing."""

    def has_ext_modules(self):
        return True


setup(distclass=BuiltDistribution, packages=find_packages(include=["orphia", "orphia.*"]),
      package_data={"orphia": ["py.typed", "share/orphia-vx/presets/*/*"],
                    "orphia.native": ["*.pyi", "*.so", "orphia"]})
