#pragma once

// The numbers of the pages' resources, for the resource compiler as well.

#define MLXO_TOOLBOX_BITMAP 102
#define MLXO_PAGE_ANTIVIRUS 216
#define MLXO_PAGE_UNABLE_TO_CONNECT 217
#define MLXO_PICTURE 224

// Controls of the page of the settings.
#define MLXO_SETTINGS_BUTTON 1140
#define MLXO_STATE 1142
#define MLXO_SETTINGS_GROUP 1143
#define MLXO_ON_DELIVERY 1144
#define MLXO_ON_READ 1145
#define MLXO_ON_SEND 1146
#define MLXO_TITLE 1147
#define MLXO_HINT 1148
#define MLXO_ICON 1149

// The control of the page that tells of a product that cannot be reached.
#define MLXO_PICTURE_CONTROL 115
