// SPDX-License-Identifier: BSD-2-Clause
#include "decode/ComponentDecoder.h"

#include "bitstream/CoefficientDecoder.h"

namespace prores {

void DecodeComponents(std::span<CodedComponent> components) {
  for (CodedComponent& component : components) {
    component.positions =
        DecodeCoefficients(component.data, component.blocks, component.coefficients);
    component.intact = component.positions != 0;
  }
}

}  // namespace prores
