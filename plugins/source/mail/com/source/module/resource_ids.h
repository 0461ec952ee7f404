// The numbers of the module's resources, for its code and for its resource script, which
// understands macros alone. Those of the options pages are in options/.

#define IDR_ADDIN 100
#define IDR_PAGE_ANTIVIRUS 101
#define IDR_PAGE_UNABLE_TO_CONNECT 102
#define IDR_EXCH_CLIENT_EXT 103
