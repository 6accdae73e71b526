// Resource ids shared by the resource script and the Windows dialogs; plain
// defines so that the resource compiler reads them too.
#pragma once

#define KESTREL_IDD_FINALIZE 200
#define KESTREL_IDC_NAME 201
#define KESTREL_IDC_VERSION 202
#define KESTREL_IDC_DESCRIPTION 203
#define KESTREL_IDC_PACKAGER 204
#define KESTREL_IDC_NOTES 205

#define KESTREL_IDD_PROGRESS 300
#define KESTREL_IDC_PROGRESS_ICON 301
#define KESTREL_IDC_HEADING 302
#define KESTREL_IDC_BODY 303
#define KESTREL_IDC_ANIMATION 304
#define KESTREL_IDC_FOOTER 305
