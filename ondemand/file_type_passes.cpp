// The registry passes over the mounted package hive that fill the file-type
// arrays and the target-application table. Until they read the hive, a
// package's on-demand data carries its shortcuts only.
#include "ondemand/ondemand_package.h"

bool COnDemandMVPackage::ProcessPackageEnvironmentVariables() { return true; }
bool COnDemandMVPackage::ProcessAppPaths() { return true; }
bool COnDemandMVPackage::ProcessClassSubKeys() { return true; }
bool COnDemandMVPackage::ProcessApplications() { return true; }
