// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_DRIVENELEMENT_H
#define CORE_DRIVER_DRIVENELEMENT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Allocators.h"
#include "driver/ElementLimits.h"
#include "driver/Failures.h"
#include "driver/HostMemory.h"
#include "driver/OutputStream.h"
#include "driver/Settings.h"
#include "driver/StreamShape.h"
#include "vix/ElementDriver.h"
#include "vix/Error.h"
#include "vix/Logging.h"

namespace vix {

/// The element of a driver, with its settings and streams. Failures of its operations are VIXErrors
/// without the name of the element, or exceptions of the element, unless Do() runs them.
class DrivenElement {
 public:
  using Sample = std::shared_ptr<const IVideoSample>;
  using Container = std::shared_ptr<const ISampleContainer>;
  using Stream = std::shared_ptr<const IInfoContainer>;

  DrivenElement(ElementFactoryType factoryType, const std::string& implementation,
                const std::string& type);

  const std::string& GetName() const { return name_; }
  std::shared_ptr<const IParametersCollectionPrototype> GetSchema() const {
    return manifest_->GetPrototype();
  }
  bool IsReleased() const { return !element_; }
  const Stream& GetOutput() const { return output_.GetDescription(); }

  /// Throws a VIXError with the name of the element.
  [[noreturn]] void Reject(ErrorCode code, const std::string& reason) const {
    throw VIXError(code, name_ + ": " + reason);
  }
  /// Does `work`, whose failures get the name of the element and `what` before their text, and
  /// `unknownCause` as their code if they have none.
  template <typename Work>
  auto Do(const std::string& what, Work work, ErrorCode unknownCause = ErrorCode::Failed) const {
    const ContextScope context(name_);
    try {
      return work();
    } catch (...) {
      RethrowWithCause({name_ + ": " + what, {}, {}, 0, unknownCause});
    }
  }

  /// Returns the settings of a configuration, if the element accepts them.
  Settings ReadSettings(const IParametersCollectionInstance& config) const;
  /// Configures the element, which may be defined. On failure the settings before stay in force.
  void Change(Settings settings);

  /// Rejects a stream that the element could not process.
  void CheckInput(const IInfoContainer& stream) const;
  /// Defines the input. On failure the definition before stays in force.
  void Define(const Stream& stream);

  /// Compares the sample of a pushed container with the stream, which follows it if the host wants
  /// that. Returns what the frame's own header says.
  /// @param sample null = the container has `samples` samples, or a null one
  std::optional<FrameShape> Inspect(const Sample& sample, std::size_t samples);
  /// Runs the element on a container. Returns its output, which may be null.
  Container Process(const Container& container, FailedCall call);
  /// Completes what the element returned for a pushed sample.
  /// @param frame what the pushed frame's own header says; nullopt if it was encoded
  Container Complete(const Container& produced, const Sample& pushed,
                     const std::optional<FrameShape>& frame);

  /// Releases the element, which is destroyed even if that fails.
  void Release();

  /// Takes the memory of the output from the host.
  void SetFrameMemory(const FrameMemoryCallbacks& callbacks);

  InputChange inputChange = InputChange::Refuse;
  std::shared_ptr<ICodecHook> hook;
  int codecThreads = 0;
  std::optional<CodecReport> report;  ///< of the last frame

 private:
  bool HasAllocator() const;
  void ConfigureElement();
  void Apply(Effort effort);
  void DefineElement(const Stream& stream);
  bool NeedsReopening(const IInfoContainer& stream) const;
  void Follow(const StreamShape& frame);
  Stream DescribeAs(const StreamShape& frame) const;
  void Redefine(const Stream& stream);
  std::shared_ptr<const IBuffer> ToHostMemory(const std::shared_ptr<const IBuffer>& buffer);

  ElementFactoryType factoryType_;
  std::string implementation_;
  std::string type_;
  std::string name_;
  bool isProRes_;  ///< an element whose limits are known
  const ElementLimits& limits_;
  bool isEncoder_;
  std::shared_ptr<HostMemory> hostMemory_;         ///< null = the element's own memory
  std::unique_ptr<NamedAllocator> hostAllocator_;  ///< null = output is copied to the host's memory
  std::shared_ptr<IMediaFilter> element_;          ///< null after Release()
  std::shared_ptr<const IParametersCollectionInstance> manifest_;
  std::optional<Settings> settings_;
  Stream input_;      ///< null = not defined
  Stream hostInput_;  ///< the same, before changes of frames
  OutputStream output_;
};

}  // namespace vix

#endif  // CORE_DRIVER_DRIVENELEMENT_H
