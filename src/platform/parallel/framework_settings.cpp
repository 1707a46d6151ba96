#include "platform/parallel/framework_settings.h"

namespace trel {

MaxSequentialDispatch::MaxSequentialDispatch(u64 value)
    : NumberSetting(
          kKey, "    Max Sequential Dispatch:",
          {.prompt = "Value = ",
           .least = 4,
           .title = "Max Sequential Dispatch",
           .explanation = "    This parameter puts a limit on the maximum number of tasks that can be\n"
                          "issued sequentially before a recursive fan-out is required. This controls the\n"
                          "exponential fan-out of tasks onto threads.\n"
                          "\n"
                          "Smaller values have shorter critical paths, but require more recursive dispatch\n"
                          "generations to reach full utilization.\n"
                          "\n"
                          "Larger values have longer critical paths in each generation, but require fewer\n"
                          "recursive dispatch generations."},
          value) {}

WorkerThreads::WorkerThreads()
    : NumberSetting(kKey, "    Worker Threads:",
                    {.prompt = "Threads (0 for unlimited threads): ", .zero_text = "Unlimited"}, 0) {}

}  // namespace trel
