#pragma once

// The settings window's resources: plain numbers, for the resource compiler too.

#define MLXO_SETTINGS_WINDOW 101
#define MLXO_WINDOW_CLASS "QZ.MailPlugin.Settings"  // by which another process finds the window

#define MLXO_WINDOW_ICON 1001
#define MLXO_WINDOW_STATE 1002
#define MLXO_WINDOW_REASON 1003
#define MLXO_WINDOW_ENGINE 1004
#define MLXO_WINDOW_SIGNATURES 1005
#define MLXO_WINDOW_SWITCHES 1006
#define MLXO_WINDOW_ON_DELIVERY 1007  // the three boxes in their order
#define MLXO_WINDOW_ON_READ 1008
#define MLXO_WINDOW_ON_SEND 1009
#define MLXO_WINDOW_SWITCHES_NOTE 1010
#define MLXO_WINDOW_FINDS_TITLE 1011
#define MLXO_WINDOW_FINDS 1012
#define MLXO_WINDOW_APPLY 1013
