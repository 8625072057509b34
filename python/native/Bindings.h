// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <pybind11/pybind11.h>

namespace orphia::python {

/// Each adds its part to the module.
void BindCatalog(pybind11::module_& module);
void BindFiles(pybind11::module_& module);
void BindInstrument(pybind11::module_& module);
void BindVocoder(pybind11::module_& module);

} // namespace orphia::python
