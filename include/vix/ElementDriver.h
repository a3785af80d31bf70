// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ELEMENTDRIVER_H
#define VIX_ELEMENTDRIVER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vix/Buffers.h"
#include "vix/CodecHook.h"
#include "vix/Elements.h"
#include "vix/Export.h"
#include "vix/Parameters.h"
#include "vix/Registry.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix {

/// What a driver does with a frame that differs from the defined stream in size, scan mode or
/// chroma sampling.
enum class InputChange : std::int32_t {
  Refuse = 1,    ///< Push() throws a VIXError (FormatChanged) that names both
  Redefine = 2,  ///< Push() defines the element for the new stream first
};

/// Drives one video element for a host program: constructor, Configure(), Define(), any number of
/// Push() and Pull(), Release().
///
/// The driver protects the host from what elements do not check:
/// - The order of calls.
/// - Arguments: what the element would refuse later, or would not survive, is refused at once. The
///   ProRes elements' limits are known: 2x2 to 65535x65535 pixels (decoding from 1x1), the scan
///   modes, variants and pixel formats ("UYVY" and "V210"; "Y416" and "b64A" for the implementation
///   "vix4444"), raw pictures of less than 4 GiB, fields with the same number of macroblock rows,
///   0 to 4096 threads, edit rates that are not negative.
/// - Changed input: each frame is compared with the defined stream (see InputChange).
/// - Changed settings: see Configure().
/// - Descriptions: each sample of a ProRes element describes what its buffer holds. In particular,
///   a decoded field has the height of one field and is progressive, the bit rate of a frame is
///   what the encoder aims at, and that of a decoded picture is that of the raw stream. Samples of
///   one definition share one description; another object means that the stream has changed.
///   Metadata of the pushed sample is carried along; decoded pictures of interlaced frames also
///   have their field order (IFieldOrder).
///
/// Every failure is a VIXError with a cause; its text begins with the name of the element and
/// contains the element's own text. During a call the element's name is the logging context of the
/// thread. One thread at a time may use a driver. A moved-from driver may only be destroyed or
/// assigned to.
class VIX_API ElementDriver {
 public:
  /// Creates the element of that key through the registry, with its manifest. Rejects a factory
  /// type other than VideoEncoder and VideoDecoder, an unknown key and a factory that returns null.
  ElementDriver(ElementFactoryType factoryType, const std::string& implementation,
                const std::string& type);
  ~ElementDriver();
  /// Moves the element of another driver to this one.
  /// @{
  ElementDriver(ElementDriver&&) noexcept;
  ElementDriver& operator=(ElementDriver&&) noexcept;
  /// @}

  /// Returns "label.implementation.type", the element's name in error messages.
  const std::string& GetName() const;
  /// Creates an instance of the element's schema for Configure().
  std::shared_ptr<IParametersCollectionInstance> CreateConfig() const;
  /// Returns the parameters for a user interface, with the names of enumerators.
  std::vector<ParameterDescription> DescribeParameters() const;

  /// Configures the element with a copy of `config`. May be called again at any time before
  /// Release(); the new settings apply from the next frame on. An output that waits keeps its
  /// description. A defined element is defined again if a setting requires it, after which
  /// GetOutput() returns the new description:
  ///
  /// | parameter            | what the driver does if it changes                             |
  /// |----------------------|----------------------------------------------------------------|
  /// | "Allocator"          | configures the element, which takes its allocator              |
  /// | "ProResCodecVariant" | defines the output with the new variant and bit rate           |
  /// | "OutputFourCC"       | releases the element, which closes the codec, and defines it   |
  /// | "SkipField"          | the same                                                       |
  /// | "NumThreads"         | makes a new element: the old one keeps its codec open          |
  /// | any other            | defines the element again                                      |
  ///
  /// If the new configuration is refused, the old one stays in force.
  void Configure(std::shared_ptr<const IParametersCollectionInstance> config);
  /// Defines the input stream and returns the description of the output stream. The description
  /// must not change afterwards. If it is refused, the stream before stays defined.
  std::shared_ptr<const IInfoContainer> Define(std::shared_ptr<const IInfoContainer> input);
  /// Returns the description of the output stream; null if none is defined.
  std::shared_ptr<const IInfoContainer> GetOutput() const;

  /// Pushes one container. Rejects it while an output is waiting, so that no frame is lost. Rejects
  /// a raw frame of a format of RawVideoUtils in a buffer that is smaller than its description
  /// requires: elements do not check the size. After a failure the element stays usable.
  void Push(std::shared_ptr<const ISampleContainer> container);
  /// Returns the waiting output; null if there is none.
  std::shared_ptr<const ISampleContainer> Pull();
  /// Drops a waiting output and releases the element. Every later call is rejected, except another
  /// Release(), which does nothing.
  void Release();

  /// Sets what happens to frames that differ from the defined stream; initially Refuse.
  void SetInputChange(InputChange policy);
  /// Sets the hook into the codec library, through which errors carry the library's result; null =
  /// none.
  /// @param threads threads of the codecs that the element opens from now on, also those that
  ///                "NumThreads" 0 leaves to the library; 0 = the library's default
  void SetCodecHook(std::shared_ptr<ICodecHook> hook, int threads);
  /// Returns what the codec library reported of the last pushed frame; nullopt if it was not called
  /// or there is no hook.
  std::optional<CodecReport> GetCodecReport() const;
  /// Takes the memory of the output from the host, also across a change of size. A decoder with the
  /// parameter "Allocator" writes its pictures straight into it if the host keeps the stride;
  /// another stride, and the frames of an encoder, cost one copy. A sample of a picture with
  /// another stride is as long as that stride requires. Call it before Configure(), whose
  /// configuration must not set "Allocator" then.
  void SetFrameMemory(const FrameMemoryCallbacks& callbacks);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vix

#endif  // VIX_ELEMENTDRIVER_H
