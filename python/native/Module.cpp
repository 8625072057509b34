// SPDX-License-Identifier: GPL-3.0-or-later
// The compiled half of the package: what it binds is private to the other half, which is Python.
#include "host/common/Errors.h"
#include "python/native/Bindings.h"

#include <pybind11/pybind11.h>

namespace py = pybind11;

namespace {

/// As classes of the package itself.
void RaiseAs(const char* className, const std::exception& error) {
    const py::object type = py::module_::import("orphia.errors").attr(className);
    PyErr_SetString(type.ptr(), error.what());
}

void Translate(std::exception_ptr thrown) {
    try {
        if (thrown) {
            std::rethrow_exception(thrown);
        }
    } catch (const orphia::host::UsageError& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const orphia::host::FileError& error) {
        RaiseAs("FileError", error);
    } catch (const orphia::host::EngineError& error) {
        RaiseAs("EngineError", error);
    }
}

} // namespace

PYBIND11_MODULE(_core, module) {
    py::register_exception_translator(&Translate);
    module.attr("__version__") = ORPHIA_VERSION;
    orphia::python::BindCatalog(module);
    orphia::python::BindFiles(module);
    orphia::python::BindInstrument(module);
    orphia::python::BindVocoder(module);
}
