# SPDX-License-Identifier: BSD-2-Clause
# Fails when LIBRARY contains instructions that no CpuLevel names: Highway lets the compiler use a few
# more than it checks the processor for. Fused multiply-add would give other bits than the plain forms.
# AVX-512 includes dot products of integers (VNNI); their older encoding is an extension of its own.
# Multiply-subtract is allowed: in Butterfly-inl.h one factor is 1, so that nothing is rounded twice.
execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${LIBRARY}
  OUTPUT_VARIABLE code COMMAND_ERROR_IS_FATAL ANY)
if(NOT code MATCHES "%zmm")
  message(FATAL_ERROR "${LIBRARY} holds no vector code to check")
endif()
string(REGEX MATCH "\t({vex} vpdp[a-z]+|v?(aes[a-z]+|pclmul[a-z]+|cvtph2ps|cvtps2ph|fn?madd[0-9a-z]+|fnmsub[0-9a-z]+|fmsubadd[0-9a-z]+)) [^\n]*"
  found "${code}")
if(found)
  message(FATAL_ERROR "unexpected instruction: ${found}")
endif()
