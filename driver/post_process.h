// -postProv: stamps the metadata document's disk identity into the disk file.
#pragma once

#include <string>

int PostProcessDisk(const std::wstring& diskPath, const std::wstring& metadataPath);
