// The floating-point environment of the engine, whatever the caller's is.
#pragma once

#include <cfenv>

// The default environment while it lives: rounding to nearest, no traps, no flushing of small numbers to zero. Host
// programs and their drivers leave others behind, in which results would differ and a division by zero would end the
// process. The caller's is put back as it was, flags included.
class FloatEnvironment {
 public:
  FloatEnvironment() {
    std::fegetenv(&m_callers);
    std::fesetenv(FE_DFL_ENV);
  }
  ~FloatEnvironment() { std::fesetenv(&m_callers); }
  FloatEnvironment(const FloatEnvironment&) = delete;
  FloatEnvironment& operator=(const FloatEnvironment&) = delete;

 private:
  std::fenv_t m_callers;
};
