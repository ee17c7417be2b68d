#pragma once

// Text IDs of the text database (table T_Labels, and T_ToolTips for the same numbers).
// A control carries its ID in its "tag" property; messages are fetched with GetText(id).
// Every ID named here has a row in data/labels.tsv in every language; the completeness test
// fails when one is missing. Families: 0..99 shared words, 1xxx shell and settings dialog,
// 10xxx messages, 33xxx and 231xxx configuration window, 35xxx slave dialogs, 40xxx printing,
// 232xxx calculator, 233xxx frame builder, 234xxx panel tools, 238xxx commissioning.
namespace TextId {

// Shared words and buttons.
constexpr int LanguageName = 0; // each language's own name, shown in the language list
constexpr int HelpFile = 1;     // help collection file name, beside the program
constexpr int No = 10;          // also the first item of the two-item "no / yes" lists
constexpr int Yes = 11;
constexpr int Cancel = 12;
constexpr int Apply = 13;
constexpr int Help = 14;
constexpr int Ok = 15;
constexpr int Close = 16;
constexpr int CaptionAndValue = 17; // "%1: %2", with the language's spacing before the colon

// Main frame: title and status bar panels (a panel's tag is its ID).
constexpr int MainTitle = 1000;
constexpr int StatusPrompt = 1001;   // panel with key "Prompt"
constexpr int StatusPort = 1002;     // panel that shows the line settings
constexpr int StatusSlave = 1003;    // panel that shows the last slave number
constexpr int StatusLineOpen = 1004; // states of the line in the line panel
constexpr int StatusLineClosed = 1005;
constexpr int StatusLineLost = 1006;

// PC settings dialog wConfig.
constexpr int ConfigTitle = 1100;
constexpr int ConfigTabCommunication = 1101;
constexpr int ConfigTabGeneral = 1102;
constexpr int ConfigPort = 1111;
constexpr int ConfigSpeed = 1112;
constexpr int ConfigStops = 1113;
constexpr int ConfigParity = 1114;
constexpr int ConfigHalfDuplex = 1115; // check box chkHalfDuplex
constexpr int ConfigRtsFrame = 1116;   // group frmRtsDelay
constexpr int ParityNone = 1117;       // cboParity item 0; items 1 and 2 follow
constexpr int ParityEven = 1118;
constexpr int ParityOdd = 1119;
constexpr int ConfigLanguage = 1121;
constexpr int ConfigLanguageHint = 1122;
constexpr int ConfigRtsDelay = 1123;
constexpr int ConfigMilliseconds = 1124; // unit label beside the RTS delay

// Splash and About box wSplash.
constexpr int AboutTitle = 1500;
constexpr int SplashVersion = 1501;      // "Version " (lblVersion 0 and 1, followed by 2.1.)
constexpr int SplashRelease = 1502;      // "Release" (lblVersion 2 and 3 before the number)
constexpr int AboutAddresses = 1503;     // cmdAbout
constexpr int AboutMaker = 1510;         // postal address of the panel's maker, one line
constexpr int AboutSoftware = 1511;      // postal address of the software house, one line
constexpr int AboutMakerLabel = 1700;    // "Panel maker: %1" in the addresses box
constexpr int AboutSoftwareLabel = 1701; // "Software house: %1" in the addresses box

// Warning dialog wWarning.
constexpr int WarningTitle = 1600;
constexpr int WarningMessage = 1610;
constexpr int WarningQuestion = 1611;

// Help window.
constexpr int HelpBack = 1800; // toolbar button: the page shown before
constexpr int HelpForward = 1801;

// Messages. "|" marks a line break; "$.$" in VersionFound is replaced by the version.
constexpr int NoSlaveFoundWrite = 10102; // write, slave typed as 0, nothing answered
constexpr int QuitQuestion = 10103;
constexpr int QuitUnsaved = 10107;
constexpr int CloseUnsaved = 10111;
constexpr int NoAnswer = 10120;
constexpr int VersionFound = 10121;
constexpr int NoSlaveFoundRead = 10122; // read, slave typed as 0, nothing answered
// Configuration window: "$$" in these texts is replaced by a caption, a count or a path.
constexpr int WriteNeedsValue = 10130; // a list has no item chosen
constexpr int WriteSlaveRange = 10131; // slave number outside 1..64
constexpr int CompareSame = 10140;     // the panel holds the values shown
constexpr int CompareDiffers = 10141;  // "$$" values differ and are marked
constexpr int FileNotSaved = 10150;    // "$$": the path
constexpr int FileUnreadable = 10151;  // "$$": the path
constexpr int FileMalformed = 10152;   // "$$": the key at fault
constexpr int FileOtherDevice = 10153; // "$$": the device the file names
constexpr int FileOutOfRange = 10154;  // "$$": the parameter's caption
constexpr int LogRequest = 10200;      // frame log heading 1
constexpr int LogAnswer = 10201;       // frame log heading 2

// Configuration window wPanelConfig.
constexpr int PanelConfigTitle = 231000; // tag of frmPages; also File menu entry 0
constexpr int ConfigInit = 231011;
constexpr int ReadConfig = 231012;
constexpr int WriteConfig = 231013;
constexpr int PrintConfig = 231014;
constexpr int SaveFile = 231015;       // cmdSaveFile
constexpr int OpenFile = 231016;       // cmdOpenFile
constexpr int Compare = 231017;        // cmdCompare
constexpr int FileFilter = 231018;     // name of the configuration files in the file dialogs
constexpr int PanelValue = 231019;     // tooltip of a marked control; "$$": the panel's value
constexpr int PanelLacks = 231020;     // the panel's firmware has no such word
constexpr int PanelInvalid = 231021;   // the panel's word matches no item
constexpr int ParamSlave = 231101;     // word 130
constexpr int ParamSpeed = 231102;     // word 128
constexpr int ParamStops = 231103;     // word 129
constexpr int ParamBusMode = 231104;   // word 131
constexpr int ParamSynchro = 231201;   // word 65
constexpr int ParamAck = 231202;       // word 67
constexpr int ParamBusKL = 231203;     // word 69
constexpr int ParamLedTestKL = 231204; // word 70
constexpr int FirmwareVersion = 231205;
// Configuration window: status bar confirmations and marks; "%1".. are the inserts.
constexpr int ConfirmRead = 237000;          // slave, line settings, firmware version
constexpr int ConfirmReadNoVersion = 237001; // slave, line settings
constexpr int NotRead = 237002;              // "Not read: %1.": the words and reasons
constexpr int MissedWord = 237003;           // word address, reason
constexpr int MissedWords = 237004;          // first and last word address, reason
constexpr int WrongAnswer = 237005;          // reason: another slave's or function's answer
constexpr int UnreadTip = 237006;            // tooltip of a control not read; reason
constexpr int LackedTip = 237007;            // tooltip of a control the firmware lacks; version
constexpr int ConfirmWrite = 237010;         // slave, line settings, firmware version
constexpr int WriteStopped = 237011;         // slave, word address, reason
constexpr int FollowedSettings = 237012;     // word address, line settings
constexpr int FollowedSlave = 237013;        // word address, slave number
constexpr int NotInFirmware = 237014;        // after a write: firmware version, captions
constexpr int ConfirmCompare = 237020;       // slave, number of differing values
constexpr int NotCompared = 237021;          // slave
constexpr int ConfirmSaved = 237030;         // file
constexpr int ConfirmOpened = 237031;        // file
constexpr int ConfirmInit = 237032;
constexpr int GroupCommunication = 33020;
constexpr int BusModeFirst = 33070; // four items, 33070..33073
constexpr int SynchroFirst = 33910; // two items, 33910..33911

// Slave dialog wAskSlave and search progress wSearchSlave.
constexpr int AskSlaveTitle = 35000;
constexpr int AskSlavePort = 35001;
constexpr int AskSlaveSlave = 35002;
constexpr int AskSlaveAutoSearch = 35003;
constexpr int AskSlaveHint = 35004;  // what slave number 0 means
constexpr int AskSlaveRange = 35005; // status bar: slave number refused
constexpr int SearchTitle = 35010;
constexpr int SearchSlave = 35011;
constexpr int SearchSpeed = 35012;
constexpr int SearchStops = 35013;
constexpr int SearchRunning = 35020; // message label while probing
constexpr int SearchFound = 35021;   // message label once a panel has answered

// Print settings wPrintConfig and the print-out.
constexpr int PrintTitle = 40010;
constexpr int PrintMargins = 40020; // " (mm)" is appended by the dialog
constexpr int MarginTop = 40021;
constexpr int MarginBottom = 40022;
constexpr int MarginLeft = 40023;
constexpr int MarginRight = 40024;
constexpr int MarginValues = 40025;
constexpr int PrintPrinter = 40030;
constexpr int PrintPdfEntry = 40031; // printer list entry that writes a PDF file
constexpr int PrintoutTitle = 40100;
constexpr int PrintoutDate = 40101;
constexpr int PrintoutPage = 40102;
constexpr int PrintoutPort = 40103;
constexpr int PrintNoPrinter = 40110;
constexpr int PrintPdfDialog = 40111;
constexpr int PrintFailed = 40112;
constexpr int PrintMarginRefused = 40113;    // $$ is the margin's label
constexpr int PrintoutPanelSettings = 40200; // heading over the panel's own settings
constexpr int PrintoutConsoleLine = 40201;   // followed by the console's port and line
constexpr int PrintoutBaud = 40202;          // unit after a line speed
constexpr int PrintoutVersionNotRead = 40203;
constexpr int PrintoutSite = 40210; // closing block: four lines to fill in by hand
constexpr int PrintoutTechnician = 40211;
constexpr int PrintoutSignDate = 40212;
constexpr int PrintoutSignature = 40213;
constexpr int PrintDone = 40220;          // status bar; $$ is the printer's name
constexpr int PrintPdfSaved = 40221;      // status bar; $$ is the file's path
constexpr int PrintMarginsNoRoom = 40222; // the page's device cannot take the margins

// Calculator wPanelCalcul.
constexpr int PanelCalculTitle = 232000; // also File menu entry 1
constexpr int ConvertGroup = 232100;
constexpr int ConvertDecimal = 232101;
constexpr int ConvertHexadecimal = 232102;
constexpr int ConvertBinary = 232103;
constexpr int ConvertUnsigned = 232104;
constexpr int CrcGroup = 232200;
constexpr int CrcFrameBytes = 232201;   // label over the txtCrcFrame row
constexpr int CrcFrameWithCrc = 232202; // label of txtFrame
constexpr int CrcCompute = 232210;      // cmdCrcCompute
// Labels of txtCrcResult(i) are CrcResultFirst + i, i = 0..7: unsigned decimal, hexadecimal,
// binary, as sent (low byte first), low byte hex, high byte hex, low byte dec, high byte dec.
constexpr int CrcResultFirst = 232220;
// Refusals, shown in the status bar.
constexpr int CrcByteRange = 232301;
constexpr int ConvertSignedRange = 232302;
constexpr int ConvertUnsignedRange = 232303;
constexpr int ConvertBinaryDigits = 232304; // a seventeenth binary digit

// Frame builder wPanelFrame.
constexpr int PanelFrameTitle = 233000; // also File menu entry 2
constexpr int FrameGrid = 233110;       // tag of grdFrameData
constexpr int FrameGridNumber = 233111; // heading of column 0
constexpr int FrameGridValue = 233112;  // heading of the data column
constexpr int FrameGroup = 233200;
constexpr int FrameSlave = 233211;
constexpr int FrameType = 233212;
constexpr int FrameAddress = 233213;
constexpr int FrameCount = 233214;
constexpr int FrameDecimalHint = 233215;
constexpr int FunctionFirst = 233250; // cboFrameType items: functions 1-6, 15, 16
constexpr int SendReceiveGroup = 233300;
constexpr int FrameCompute = 233301;
constexpr int FrameSend = 233302;
constexpr int FrameRequest = 233311;
constexpr int FrameAnswer = 233312;
// Refusals and notes, shown in the status bar.
constexpr int FrameSlaveRange = 233401;
constexpr int FrameAddressNotNumber = 233402;
constexpr int FrameAddressRange = 233403; // the address box's leave check
constexpr int FrameCountNotNumber = 233404;
constexpr int FrameCountRange = 233405; // the count box's leave check
constexpr int FrameNothingToSend = 233406;
constexpr int FramePartialBytes = 233407; // "%1": the number of bytes sent
constexpr int FrameSentConfirm = 233420;  // status bar after Send: %1 bytes sent, %2 the outcome
// Frames that FrameToSend refuses: FrameErrorFirst - 1 + its error code, 233411..233417.
constexpr int FrameErrorFirst = 233411;
// Exception answers: ExceptionBase + function code, 233801..233816.
constexpr int ExceptionBase = 233800;

// Panel tools wPanelTools.
constexpr int PanelToolsTitle = 234000; // also File menu entry 3
constexpr int ToolsStart = 234101;
constexpr int ToolsStop = 234102;
constexpr int ToolsPanelOff = 234103;
constexpr int ToolsClearLog = 234104;
constexpr int ToolsLedStateGroup = 234105; // frmToolsLeds
constexpr int ToolsSlave = 234106;
constexpr int ToolsPanelGroup = 234107; // frmPanneau
constexpr int ToolsTest = 234108;       // lblTest
constexpr int ToolsLogGroup = 234109;
constexpr int LedStateFirst = 234110; // optToolsLeds 0..4
constexpr int ToolsHorn = 234120;     // imgKlaxon (tooltip)
constexpr int ToolsSequence = 234200;
constexpr int ToolsCommParams = 234201;   // followed by the line settings text
constexpr int SequenceFirst = 234210;     // cboToolsSequence items 0..5
constexpr int SequenceHelpFirst = 234230; // lblHelp for sequence 0..5
// Status bar confirmations of the window's finished actions.
constexpr int ToolsLedSent = 234300;           // %1 LED, %2 slave, %3 state
constexpr int ToolsHornSent = 234301;          // %1 slave, %2 state
constexpr int ToolsImageSent = 234302;         // %1 slave
constexpr int ToolsImageRead = 234303;         // %1 slave
constexpr int ToolsLampTestSent = 234304;      // %1 slave
constexpr int ToolsPanelOffDone = 234305;      // %1 slave
constexpr int ToolsAckSent = 234306;           // %1 slave
constexpr int ToolsAlarmAcknowledged = 234307; // %1 slave
constexpr int ToolsSequenceStopped = 234308;
constexpr int ToolsLogCleared = 234309;
constexpr int ToolsNoValidAnswer = 234310; // %1 slave, %2 the outcome
constexpr int ToolsNothingSent = 234311;   // %1 slave

// Line monitor (a dock of the main frame) and the words its meaning column uses.
constexpr int MonitorTitle = 236000;
constexpr int MonitorTime = 236001; // columns 236001..236006, then the export's own columns
constexpr int MonitorDelta = 236002;
constexpr int MonitorOrigin = 236003;
constexpr int MonitorRequest = 236004;
constexpr int MonitorAnswer = 236005;
constexpr int MonitorMeaning = 236006;
constexpr int MonitorPort = 236007;
constexpr int MonitorSettings = 236008;
constexpr int MonitorDuration = 236009;
constexpr int MonitorPause = 236010;
constexpr int MonitorClear = 236011;
constexpr int MonitorExport = 236012;
constexpr int MonitorOutcome = 236013;
constexpr int MonitorExportFilter = 236014;
constexpr int MonitorExportFailed = 236015;
constexpr int MonitorComplete = 236020; // outcomes 236020..236026 in Exchange::Outcome order
constexpr int MonitorPortFault = 236026;
constexpr int MonitorWord = 236030;     // "word %1 %2 = %3": address, parameter, value
constexpr int MonitorLedState = 236032; // "LED %1 → state %2"
constexpr int MonitorAllLedsOff = 236033;
constexpr int MonitorHornOn = 236034;
constexpr int MonitorHornOff = 236035;
constexpr int MonitorLampTest = 236036;
constexpr int MonitorAckNotYet = 236037;
constexpr int MonitorAckDone = 236038;
constexpr int MonitorImageWritten = 236039; // "panel image written: %1 LEDs lit"
constexpr int MonitorImageRead = 236040;    // "panel image read: %1 LEDs lit"
constexpr int MonitorWithHorn = 236041;     // appended to a panel image
constexpr int MonitorProbe = 236042;
constexpr int MonitorProbeAnswer = 236043; // "probe: slave %1, firmware %2.%3"
constexpr int MonitorRequestText = 236044; // "%1: address %2, count %3"
constexpr int FrameNoAnswer = 236100;      // the frame builder's answer box after a time-out

// k7310ctl, the command-line program.
constexpr int CtlOrigin = 238500;
constexpr int CtlInterrupted = 238501;
constexpr int CtlWord = 238502;
constexpr int CtlParameter = 238503;
constexpr int CtlValue = 238504;
constexpr int CtlFileValue = 238505;
constexpr int CtlPanelValue = 238506;
constexpr int CtlDiffers = 238507;
constexpr int CtlWritten = 238508;
constexpr int CtlLed = 238509;
constexpr int CtlState = 238510;
constexpr int CtlDefaultsSaved = 238511;
constexpr int CtlFileExists = 238512;
constexpr int CtlWriteInterrupted = 238513;
constexpr int CtlNone = 238514;
constexpr int CtlNotAcknowledged = 238515;
constexpr int CtlAlarmSent = 238516;
constexpr int CtlLineNow = 238517;
constexpr int CtlAnswer = 238518;
constexpr int CtlConfiguration = 238519;

// Line survey wLineSurvey.
constexpr int SurveyTitle = 238000; // also File menu entry and origin of its exchanges
constexpr int SurveyStart = 238001;
constexpr int SurveyCancel = 238002;
constexpr int SurveyExport = 238003;
constexpr int SurveyOpenInConfig = 238004;
constexpr int SurveyAllowance = 238005; // turnaround allowance, milliseconds
constexpr int SurveyThorough = 238006;
constexpr int SurveyRetrySilent = 238007;
constexpr int SurveySlaves = 238008;    // range of slave numbers, "from"
constexpr int SurveySlavesTo = 238009;  // range of slave numbers, "to"
constexpr int SurveyStopAfter = 238010; // stop after N panels; 0 none
constexpr int SurveySettings = 238011;  // group of the settings to try
constexpr int SurveyOptions = 238012;   // group of the options
constexpr int SurveyProbing = 238013;   // %1 setting n, %2 of, %3 setting text
constexpr int SurveySweeping = 238014;  // %1 setting n, %2 of, %3 setting, %4 done, %5 to do
constexpr int SurveyFound = 238015;     // %1 panels found, %2 time spent, %3 estimate left
constexpr int SurveyDone = 238016;      // %1 panels, %2 time
constexpr int SurveyCancelled = 238017; // %1 panels, %2 time
constexpr int SurveyEnough = 238018;    // %1 panels, %2 time
constexpr int SurveyPortFault = 238019; // %1 the fault's description and detail, %2 panels
constexpr int SurveyLineBusy = 238020;
constexpr int SurveyNoRow = 238021;
constexpr int SurveyExportFilter = 238022;
constexpr int SurveyExportFailed = 238023; // %1 the file
constexpr int SurveyExported = 238024;     // %1 rows, %2 the file
constexpr int SurveyCommission = 238025;   // hands the selected rows to the commissioning
constexpr int SurveyColumnSlave = 238030;  // result columns 238030..238034
constexpr int SurveyColumnSpeed = 238031;
constexpr int SurveyColumnStops = 238032;
constexpr int SurveyColumnVersion = 238033;
constexpr int SurveyColumnRemarks = 238034;
constexpr int SurveyCurrentSetting = 238035; // "%1 (the line's own)"
// Remarks of a row, in LineSurvey::Remark::Kind order, 238050..238056.
constexpr int SurveyRemarkFirst = 238050;

// Line check (Options > Check the line).
constexpr int LineCheckTitle = 238700;
constexpr int LineCheckSlave = 238701; // "Slave number for one exchange (0: none):"
constexpr int LineCheckRun = 238702;   // button
constexpr int LineCheckCopy = 238703;  // button
constexpr int LineCheckSave = 238704;  // button
constexpr int LineCheckColumnTopic = 238705;
constexpr int LineCheckColumnResult = 238706;
constexpr int LineCheckHeading = 238707; // "Line check of %1 (%2) on %3"
constexpr int LineCheckSaveTitle = 238708;
constexpr int LineCheckFileTypes = 238709;
constexpr int LineCheckTopicAdapter = 238710;
constexpr int LineCheckTopicPermissions = 238711;
constexpr int LineCheckTopicDriver = 238712;
constexpr int LineCheckTopicLatency = 238713;
constexpr int LineCheckTopicModemManager = 238714;
constexpr int LineCheckTopicEcho = 238715;
constexpr int LineCheckTopicRoundTrip = 238716;
constexpr int LineCheckPass = 238720; // mark words of the text copy
constexpr int LineCheckWarning = 238721;
constexpr int LineCheckFail = 238722;
constexpr int LineCheckUdevRule = 238723; // "udev rule:"
constexpr int LineCheckUnknown = 238724;  // a fact the system does not tell
constexpr int LineCheckSaved = 238725;    // "Saved to %1."
constexpr int LineCheckCopied = 238726;
constexpr int LineCheckSaveFailed = 238727; // %1 the reason
constexpr int LineCheckAdapterUsb =
    238730; // %1 manufacturer %2 product %3 vendor %4 id %5 serial %6 by-id
constexpr int LineCheckAdapterOther = 238731;     // %1 device
constexpr int LineCheckAdapterMissing = 238732;   // %1 device
constexpr int LineCheckAccessGranted = 238740;    // %1 device
constexpr int LineCheckAccessAtLogin = 238741;    // %1 device %2 group
constexpr int LineCheckAccessNotInGroup = 238742; // %1 device %2 group %3 user
constexpr int LineCheckAccessNoGroup = 238743;    // %1 device
constexpr int LineCheckDriverRs485 = 238750;      // %1 driver
constexpr int LineCheckDriverNoRs485Half = 238751;
constexpr int LineCheckDriverNoRs485Full = 238752;
constexpr int LineCheckDriverNotAsked = 238753;
constexpr int LineCheckDriverNone = 238754;
constexpr int LineCheckLatencyLow = 238760;  // %1 ms
constexpr int LineCheckLatencyHigh = 238761; // %1 ms
constexpr int LineCheckLatencyNone = 238762;
constexpr int LineCheckModemManagerAbsent = 238770;
constexpr int LineCheckModemManagerUsb = 238771;    // %1 device
constexpr int LineCheckModemManagerNotUsb = 238772; // %1 device
constexpr int LineCheckEchoNotTried = 238780;
constexpr int LineCheckEchoNone = 238781;
constexpr int LineCheckEchoFound = 238782;     // %1 bytes
constexpr int LineCheckNoAnswer = 238783;      // %1 slave %2 ms
constexpr int LineCheckLineNotOpen = 238784;   // a slave given, the line closed or busy
constexpr int LineCheckRoundTripGood = 238790; // %1 round trip %2 wire %3 baud %4 rest
constexpr int LineCheckRoundTripSlow = 238791; // same, %5 limit
constexpr int LineCheckRoundTripNotMeasured = 238792;
// The line's direction control and the adapter's echo (status bar, export, PC settings).
constexpr int LineDirectionBase = 238900; // 238900..238902 in Rs485Mode::Direction order
constexpr int LineDirection = 238903;     // caption of the direction in the export
constexpr int LineEcho = 238904;          // caption of the echo in the export
constexpr int ConfigEcho = 238905;        // label of cboEcho
constexpr int EchoSettingBase = 238906;   // 238906..238908 in LineEcho::Setting order
constexpr int EchoFoundBase = 238909;     // 238909..238911: echoes, no echo, not found out yet
// Commissioning wCommissioning and its record.
constexpr int CommissionTitle = 238200;
constexpr int CommissionSite = 238201;
constexpr int CommissionTechnician = 238202;
constexpr int CommissionTemplate = 238203;
constexpr int CommissionBrowse = 238204;
constexpr int CommissionPanels = 238205;
constexpr int CommissionAdd = 238206;
constexpr int CommissionRemove = 238207;
constexpr int CommissionColSlave = 238208;
constexpr int CommissionColSpeed = 238209;
constexpr int CommissionColStops = 238210;
constexpr int CommissionColVersion = 238211;
constexpr int CommissionColNewSlave = 238212;
constexpr int CommissionColNewSpeed = 238213;
constexpr int CommissionColNewStops = 238214;
constexpr int CommissionColState = 238215;
constexpr int CommissionTests = 238216;
constexpr int CommissionTestLamp = 238217;
constexpr int CommissionTestAlarm = 238218;
constexpr int CommissionTestWalk = 238219;
constexpr int CommissionAckWait = 238220;
constexpr int CommissionFollow = 238221;
constexpr int CommissionApply = 238222;
constexpr int CommissionRetry = 238223;
constexpr int CommissionCancel = 238224;
constexpr int CommissionSave = 238225;
constexpr int CommissionPrint = 238226;
constexpr int CommissionDuplicate = 238240;
constexpr int CommissionAskLamps = 238241;
constexpr int CommissionAskWalk = 238242;
constexpr int CommissionAckPrompt = 238243;
constexpr int CommissionSaveFailed = 238244;
constexpr int CommissionSaved = 238245;
constexpr int CommissionNoTemplate = 238246;
constexpr int CommissionLineBusy = 238247;
constexpr int CommissionNoPanels = 238248;
constexpr int CommissionBadEntry = 238249;
constexpr int CommissionStateWaiting = 238250;
constexpr int CommissionStateWorking = 238251;
constexpr int CommissionStateCancelled = 238252;
constexpr int CommissionRecordFilter = 238253;
constexpr int RecordTitle = 238260;
constexpr int RecordDate = 238261;
constexpr int RecordConsole = 238262;
constexpr int RecordPort = 238263;
constexpr int RecordAdapter = 238264;
constexpr int RecordTemplate = 238265;
constexpr int RecordTemplateSha = 238266;
constexpr int RecordPanel = 238267;
constexpr int RecordLine = 238268;
constexpr int RecordFirmware = 238269;
constexpr int RecordParameter = 238270;
constexpr int RecordBefore = 238271;
constexpr int RecordIntended = 238272;
constexpr int RecordReadBack = 238273;
constexpr int RecordDiffers = 238274;
constexpr int RecordNotServed = 238275;
constexpr int RecordResult = 238276;
constexpr int RecordPassed = 238277;
constexpr int RecordFailed = 238278;
constexpr int RecordSkipped = 238279;
constexpr int RecordNotRun = 238280;
constexpr int RecordFooter = 238281;
constexpr int RecordStopped = 238282;
constexpr int RecordWordsTaken = 238283;
constexpr int RecordNone = 238284;
constexpr int RecordStageLine = 238285;
constexpr int RecordStageReadBefore = 238286;
constexpr int RecordStageWrite = 238287;
constexpr int RecordStageReadBack = 238288;
constexpr int RecordStageCompare = 238289;
constexpr int RecordReadBackDiffers = 238290;
constexpr int RecordTests = 238291;
constexpr int RecordReasonNo = 238292;
constexpr int RecordReasonTimeOut = 238293;
constexpr int RecordReasonNoAnswer = 238294;
constexpr int RecordReasonCancelled = 238295;
constexpr int RecordPanelsSummary = 238296;

} // namespace TextId
