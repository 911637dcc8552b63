// Every absolute path of the daemon. ZERBIN_ROOT is empty in the installed
// daemon; where it runs on a desk (see desk/desk), it is the desk's folder.
#pragma once

#ifndef ZERBIN_ROOT
#define ZERBIN_ROOT ""
#endif

constexpr char kConfigFile[] = ZERBIN_ROOT "/Library/StartupItems/TovrikZerbin/config";
constexpr char kLogFile[] = ZERBIN_ROOT "/usr/local/DatacardService/Zerbin.log";
constexpr char kCaptureFile[] = ZERBIN_ROOT "/usr/local/DatacardService/cmd.txt";
constexpr char kSetupFile[] = ZERBIN_ROOT "/Applications/Pelluria.app/Contents/Resources/SysConfig.dat";
constexpr char kVolumesRoot[] = ZERBIN_ROOT "/Volumes/";

// The companion application on the modem's own volume: the default of the configuration's "path1".
constexpr char kDefaultApplication[] = ZERBIN_ROOT "/Volumes/Pelluria/Pelluria.app/";

// What the INI reader reads before a file is selected; a macro because it initialises an array.
#define ZERBIN_INITIAL_INI_FILE ZERBIN_ROOT "/Applications/Quenmarl.app/Contents/Resources/SysConfig.dat"

// Devices of the machine itself: they have no place on a desk, and no root in front.
constexpr char kConsoleOwnerQuery[] = "stat -f%Su /dev/console";
constexpr char kNullDevice[] = "/dev/null";
