#include "Samples.h"

void Samples::print(FILE* out, const std::string& what) const {
  std::fprintf(out, "{\"what\": \"%s\", \"failed\": %ld, \"resumed\": %ld, \"samples_us\": [", what.c_str(),
               m_failed, m_resumed);
  for (size_t i = 0; i < m_micros.size(); ++i) std::fprintf(out, "%s%.1f", i ? ", " : "", m_micros[i]);
  std::fprintf(out, "]}\n");
  std::fflush(out);
}
