// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/Errors.h"
#include "host/parameters/ParameterCatalog.h"
#include "host/parameters/ParameterText.h"
#include "python/native/Bindings.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <string>
#include <vector>

namespace orphia::python {

namespace py = pybind11;

namespace {

using host::ParameterCatalog;
using host::ParameterInfo;
using host::ParameterSetting;

const char* KindName(const ParameterInfo& info) {
    switch (info.kind) {
    case host::ParameterKind::Stepped:
        return info.isSwitch ? "switch" : "stepped";
    case host::ParameterKind::Mapped:
        return "mapped";
    case host::ParameterKind::Knob:
        break;
    }
    return info.isSwitch ? "switch" : "knob";
}

std::vector<std::string> Choices(const ParameterInfo& info) {
    std::vector<std::string> names;
    for (unsigned step = 0; !info.choices.empty() && step < info.stepCount; ++step) {
        names.emplace_back(host::ChoiceOf(info, step));
    }
    return names;
}

const ParameterInfo& At(const ParameterCatalog& catalog, std::uint32_t id) {
    if (id >= catalog.Parameters().size()) {
        throw host::UsageError(fmt::format("there is no parameter {}", id));
    }
    return catalog.Parameters()[id];
}

ParameterSetting Parse(const ParameterCatalog& catalog, std::uint32_t id, const std::string& text) {
    const ParameterInfo& info = At(catalog, id);
    host::CheckIsSettable(info);
    return host::ParseSetting(info, text);
}

} // namespace

void BindCatalog(py::module_& module) {
    py::class_<ParameterSetting>(module, "Setting")
        .def_readonly("id", &ParameterSetting::id)
        .def_readonly("number", &ParameterSetting::number)
        .def_property_readonly("is_position", [](const ParameterSetting& setting) {
            return setting.scale == ParameterSetting::Scale::Position;
        });

    py::class_<ParameterInfo>(module, "ParameterInfo")
        .def_readonly("id", &ParameterInfo::id)
        .def_readonly("name", &ParameterInfo::name)
        .def_readonly("description", &ParameterInfo::description)
        .def_readonly("minimum", &ParameterInfo::minimum)
        .def_readonly("maximum", &ParameterInfo::maximum)
        .def_readonly("step_count", &ParameterInfo::stepCount)
        .def_readonly("step_width", &ParameterInfo::stepWidth)
        .def_readonly("is_switch", &ParameterInfo::isSwitch)
        .def_property_readonly(
            "is_stepped", [](const ParameterInfo& info) { return info.kind == host::ParameterKind::Stepped; })
        .def_property_readonly("kind", &KindName)
        .def_property_readonly("role", [](const ParameterInfo& info) { return host::RoleText(info.role); })
        .def_property_readonly("unit", [](const ParameterInfo& info) { return host::UnitText(info.unit); })
        .def_property_readonly("choices", &Choices)
        .def_property_readonly("range_text", &host::FormatRange);

    py::class_<ParameterCatalog>(module, "Catalog")
        .def("__len__", [](const ParameterCatalog& catalog) { return catalog.Parameters().size(); })
        .def("at", &At, py::arg("id"), py::return_value_policy::reference_internal)
        .def(
            "find",
            [](const ParameterCatalog& catalog, const std::string& name) { return catalog.Find(name).id; },
            py::arg("name"))
        .def("parse", &Parse, py::arg("id"), py::arg("text"))
        .def(
            "to_position",
            [](const ParameterCatalog& catalog, const ParameterSetting& setting) {
                return host::PositionOf(catalog, setting);
            },
            py::arg("setting"))
        .def(
            "value_text",
            [](const ParameterCatalog& catalog, std::uint32_t id, float value) {
                return host::FormatValue(At(catalog, id), value);
            },
            py::arg("id"), py::arg("value"));

    module.def("instrument_catalog", &ParameterCatalog::OfInstrument, py::return_value_policy::reference);
    module.def("vocoder_catalog", &ParameterCatalog::OfVocoder, py::return_value_policy::reference);
}

} // namespace orphia::python
