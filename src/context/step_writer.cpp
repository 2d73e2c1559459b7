#include "context/step_writer.h"

#include <string>

namespace quillmark {

void StepWriter::WaitSeparationTime() {
  if (separation_time_ != 0) {
    element_->appendTemplate(*templates_->wait, std::to_string(separation_time_));
  }
}

}  // namespace quillmark
