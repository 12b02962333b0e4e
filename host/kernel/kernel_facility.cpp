#include "host/kernel/kernel_facility.h"

namespace ZYRA::Host {

KernelFacility::KernelFacility()
    : workingset_(pages_), faultAround_("/proc/sys/kernel/", "ws_fault_around"), tree_(faults_), server_(tree_) {
    tree_.Add("workingset", workingset_);
    tree_.Add("", faultAround_);
    tree_.Add("iolimit", iolimit_);
}

void KernelFacility::SetRecord(const std::string& scene, RecordState state) {
    workingset_.SetRecord(scene, Record{state, pages_.PagesOf(scene)});
}

}  // namespace ZYRA::Host
