// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ELEMENTPOOL_H
#define VIX_ELEMENTPOOL_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vix/Buffers.h"
#include "vix/CodecHook.h"
#include "vix/ElementDriver.h"
#include "vix/Export.h"
#include "vix/OrderedPool.h"
#include "vix/Parameters.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// One frame on its way through an ElementPool.
struct PoolFrame {
  std::shared_ptr<const ISampleContainer> input;  ///< for the element; null = nothing to process
  std::shared_ptr<void> context;                  ///< the host's own, returned with the frame

  std::uint64_t number = 0;                        ///< from 0 since construction or Restart()
  std::shared_ptr<const ISampleContainer> output;  ///< of the element; null = none
  std::exception_ptr error;                        ///< failure of this frame; null = none
  std::optional<CodecReport> report;               ///< of the codec library, if there is a hook
};

/// Settings of an ElementPool.
struct ElementPoolOptions {
  /// Elements, each of which processes one frame at a time; mostInFlight and receiverWorks as in
  /// OrderedPoolOptions.
  OrderedPoolOptions size;
  /// Threads that share one frame. 1 is fastest while there are more frames than processors.
  /// Without a hook, it must be 1 and has no effect: elements then have "NumThreads", and a
  /// decoder without it has a thread for each processor.
  int threadsPerFrame = 1;
  InputChange inputChange = InputChange::Refuse;  ///< see ElementDriver::SetInputChange()
  std::shared_ptr<ICodecHook> codecHook;  ///< may be null; see ElementDriver::SetCodecHook()
  FrameMemoryCallbacks memory;            ///< may be empty; see ElementDriver::SetFrameMemory()
  /// Work of the host on a frame before and after the element, on the thread of the element, side
  /// by side with other frames. `prepare` may set `input`. `finish` is also called after a failure
  /// of the element, which it may clear, but not if `prepare` threw. What they throw becomes the
  /// frame's error. Both may be empty.
  /// @param element the frame is processed by, from 0
  /// @{
  std::function<void(PoolFrame& frame, unsigned element)> prepare;
  std::function<void(PoolFrame& frame, unsigned element)> finish;
  /// @}
};

/// Processes the frames of a stream on several elements of one kind side by side. Frames come out
/// in the order in which they went in, each with its output or its error. The output does not
/// depend on the number of elements and threads. Each element describes its samples with its own
/// objects: compare the properties of descriptions, not their addresses.
///
/// Any thread may call Configure(), Define() and the operations on frames, also at the same time.
class VIX_API ElementPool {
 public:
  /// Creates the elements, see ElementDriver.
  ElementPool(ElementFactoryType factoryType, const std::string& implementation,
              const std::string& type, ElementPoolOptions options);
  /// Interrupts the pool, waits for the frames that are being processed and releases the elements.
  ~ElementPool();
  ElementPool(const ElementPool&) = delete;
  ElementPool& operator=(const ElementPool&) = delete;

  /// Returns the element's name in error messages.
  const std::string& GetName() const;
  /// Returns the number of elements.
  unsigned GetElements() const;
  /// Returns the number of frames that the pool holds at most.
  std::size_t GetMostInFlight() const;
  /// Creates an instance of the elements' schema.
  std::shared_ptr<IParametersCollectionInstance> CreateConfig() const;
  /// Returns the parameters for a user interface, with the names of enumerators.
  std::vector<ParameterDescription> DescribeParameters() const;

  /// Configures the elements for the frames that are submitted from now on; frames in flight keep
  /// the configuration that they were submitted with. Refuses as ElementDriver::Configure() does.
  void Configure(std::shared_ptr<const IParametersCollectionInstance> config);
  /// Defines the input for the frames that are submitted from now on, and returns the description
  /// of the output. Refuses as ElementDriver::Define() does.
  std::shared_ptr<const IInfoContainer> Define(std::shared_ptr<const IInfoContainer> input);
  /// Returns the description of the output for frames that are submitted now; null before Define().
  std::shared_ptr<const IInfoContainer> GetOutput() const;

  /// Submits a frame if the pool is not full, and leaves `frame` empty.
  /// @return false, and `frame` unchanged, if it is full or interrupted
  /// @throws VIXError (WrongOrder) before Define(), and after Flush() until Receive() returned
  ///         nullopt
  [[nodiscard]] bool TrySubmit(PoolFrame& frame);
  /// Waits until the pool is not full, then submits a frame.
  /// @return false if the pool is interrupted
  /// @throws VIXError as TrySubmit()
  bool Submit(PoolFrame frame);
  /// Returns the next frame in order if it is ready.
  std::optional<PoolFrame> TryReceive();
  /// Waits for the next frame in order.
  /// @return nullopt when all frames before Flush() were received, after which frames may be
  ///         submitted again, or if the pool is interrupted
  std::optional<PoolFrame> Receive();
  /// Ends the input: Receive() returns nullopt after the last frame, instead of waiting.
  void Flush();
  /// Drops all frames and ends waiting calls, for example before a jump to another place of the
  /// input. Until Restart(), Submit() returns false and Receive() nullopt.
  void Interrupt();
  /// Makes an interrupted pool usable again, with the same configuration and input. Waits for the
  /// frames that are being processed.
  void Restart();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vix

#endif  // VIX_ELEMENTPOOL_H
