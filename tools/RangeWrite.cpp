// SPDX-License-Identifier: MIT
#include "RangeWrite.h"

#include <memory>

#include "ProgressBar.h"
#include "WriteList.h"
#include "WriteProgress.h"

namespace Rynvelctl {

void writeRange(OpenDevice& device, const RegisterRange& range,
                const std::function<std::uint32_t(std::uint32_t)>& valueAt, const std::function<void()>& print) {
    const std::string& name = range.device().name();
    WriteProgress progress(name, std::make_unique<ConsecutiveWrites>(range));
    {
        // Construct this object after the other object, so that a signal erases the bar before the message appears.
        ProgressBar bar(name, range.count());
        for (std::uint32_t i = 0; i < range.count(); ++i) {
            progress.step([&] { progress.write([&] { device.write(range[i], valueAt(i)); }); });
            bar.advance();
        }
    }
    progress.print(print);
}

} // namespace Rynvelctl
