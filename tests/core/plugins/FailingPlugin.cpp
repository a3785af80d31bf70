// SPDX-License-Identifier: BSD-2-Clause
// A plug-in that registers one element and then fails. The registrant selects the failure.
#include <unwind.h>

#include <exception>
#include <memory>
#include <string>

#include "vix/Error.h"
#include "vix/Registry.h"

namespace {

class OwnException : public std::exception {
 public:
  const char* what() const noexcept override { return "own reason"; }
};

/// Raises an exception of another language.
[[noreturn]] void RaiseForeignException() {
  static _Unwind_Exception exception = {};
  exception.exception_class = 0x4649425245303030;
  exception.exception_cleanup = [](_Unwind_Reason_Code, _Unwind_Exception*) {};
  _Unwind_RaiseException(&exception);
  std::terminate();
}

void RegisterOneElement(const char* registrant) {
  const auto entry = vix::CreateParametersCollectionInstance(vix::GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", vix::ElementFactoryType::VideoDecoder);
  entry->SetString("type", "Doomed");
  entry->SetString("implementation", "failing");
  entry->SetParametersCollectionPrototype("init_config",
                                          vix::CreateParametersCollectionPrototype());
  vix::RegisterFactory(
      registrant, vix::GetVIXCoreIdInternal("0.7.0.0.0"),
      std::make_shared<vix::ElementFactory<vix::ElementFactoryType::VideoDecoder>>(
          [](std::shared_ptr<const vix::IParametersCollectionInstance>) { return nullptr; }),
      entry);
}

}  // namespace

extern "C" VIX_API void RegisterAll(const char* registrant) {
  RegisterOneElement(registrant);
  const std::string kind = registrant;
  if (kind == "FrameworkError") throw vix::VIXRuntimeError("framework reason");
  if (kind == "OwnException") throw OwnException();
  if (kind == "Number") throw 42;
  if (kind == "ForeignException") RaiseForeignException();
  if (kind == "WrongVersion") {
    vix::RegisterFactory(registrant, vix::GetVIXCoreIdInternal("0.8.0.0.0"), nullptr, nullptr);
  }
}
