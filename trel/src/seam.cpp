#include "seam/seam.h"

namespace trel_seam {

Seam& Current() {
  static Seam seam{MakeHttp(), MakeSsh(), MakeProcesses(), MakeHost(), nullptr};
  return seam;
}

}  // namespace trel_seam
