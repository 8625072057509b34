// SPDX-License-Identifier: GPL-3.0-or-later
// The compiled half of the package: what it binds is private to the other half, which is Python.
#include "host/common/Errors.h"
#include "python/native/Bindings.h"

#include <pybind11/pybind11.h>

namespace py = pybind11;

namespace {

/// Names of files need not be text in any coding.
void Raise(const py::handle& type, const std::exception& error) {
    const auto text = py::reinterpret_steal<py::object>(PyUnicode_DecodeFSDefault(error.what()));
    PyErr_SetObject(type.ptr(), text.ptr());
}

/// As classes of the package itself.
void RaiseAs(const char* className, const std::exception& error) {
    Raise(py::module_::import("orphia.errors").attr(className), error);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the type that pybind11 asks for
void Translate(std::exception_ptr thrown) {
    try {
        if (thrown) {
            std::rethrow_exception(thrown);
        }
    } catch (const orphia::host::UsageError& error) {
        Raise(PyExc_ValueError, error);
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
