#include "ExpectedModel.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

namespace ExpectedModel {

namespace {

// module NAME RECORD TYPES
// enum   INDEX NAME i32|u8  LITERAL=NUMBER...
// value  INDEX NAME ORDER HASH ARGUMENTS DEFAULT [varies]      DEFAULT: bytes in the log, "-" none
// entity INDEX NAME [: BASE] [factory]
//   ID NAME KIND TYPE [key KEY] [= DEFAULT] [LOW..HIGH] [readonly|fixed|nocompare]
// A backslash ends a row that goes on. An index of "-" is not stated. "T?" is an optional T.
// A default that is not written is that of the type; "''" is the empty string.
constexpr char stpTypes[] = R"(
module StpTypes 7e58f2dcd85a6064 25
enum 0 Stp::Version i32  none=-1 stp=0 rstp=2 mstp=3 backup=100 rapidPvstp=101
enum 1 Stp::PortState u8  discarding=0 learning=1 forwarding=2
value 2 Stp::BridgePriority reflected none 1 0000
  2 value field u16 = 0  minBridgePriority..maxBridgePriority
  3 minBridgePriority const u16 = 0
  4 maxBridgePriority const u16 = 61440
  5 defaultBridgePriority const u16 = 32768
  6 primaryBridgePriority const u16 = 8192
  7 secondaryBridgePriority const u16 = 16384
value 3 Stp::BridgeSystemId reflected attr 1 0000
  2 value field u16 = 0
value 4 Stp::BridgeId declared none 3 00000000000000000000
  2 priority field Stp::BridgePriority = 0
  3 systemId field Stp::BridgeSystemId = 0
  4 address field Nelka::EthAddr = 00:00:00:00:00:00
value 5 Stp::PortPriority reflected none 1 00
  2 value field u8 = 0
  3 minPortPriority const u8 = 0
  4 maxPortPriority const u8 = 240
  5 defaultPortPriority const u8 = 128
  6 invalidConfigurablePortPriority const u8 = 255
value 6 Stp::PortNumber reflected attr 1 0000
  2 value field u16 = 0  min..max
  3 min const u16 = 0
  4 max const u16 = 4095
value 7 Stp::PortId declared none 2 000000
  2 portPriority field Stp::PortPriority = 0
  3 portNumber field Stp::PortNumber = 0
value 8 Stp::PathCost declared none 1 00000001
  2 value field u32 = 1
  3 invalidConfigurablePathCost const u32 = 0
  4 minConfigurablePathCost const u32 = 1
  5 maxConfigurablePathCost const u32 = 200000000
  6 linkPathCost10Mbps const u32 = 2000000
  7 linkPathCost100Mbps const u32 = 200000
  8 linkPathCost1Gbps const u32 = 20000
  9 linkPathCost2p5Gbps const u32 = 8000
  10 linkPathCost5Gbps const u32 = 4000
  11 linkPathCost10Gbps const u32 = 2000
  12 linkPathCost25Gbps const u32 = 800
  13 linkPathCost40Gbps const u32 = 500
  14 linkPathCost50Gbps const u32 = 400
  15 linkPathCost100Gbps const u32 = 200
  16 linkPathCost200Gbps const u32 = 100
  17 linkPathCost400Gbps const u32 = 50
  18 linkPathCost800Gbps const u32 = 25
value - Stp::TimerVal declared none 2 0000
  2 seconds field u8 = 0
  3 fraction field u8 = 0
value - Stp::TimesVector none none 0 000000000000000000
  2 messageAge field Stp::TimerVal
  3 maxAge field Stp::TimerVal
  4 fwdDelay field Stp::TimerVal
  5 helloTime field Stp::TimerVal
  6 remainingHops field u8 = 0
value - Stp::PriorityVector none none 0 \
    0000000000000000000000000001000000000000000000000000000100000000000000000000000000
  2 cistRootBridgeId field Stp::BridgeId
  3 extRootPathCost field Stp::PathCost = 1
  4 regionalRootBridgeId field Stp::BridgeId
  5 intRootPathCost field Stp::PathCost = 1
  6 bridgeId field Stp::BridgeId
  7 portId field Stp::PortId
value - Stp::StpBpduVersion declared none 1 00
  2 value field u8 = 0
value - Stp::StpBpduType none none 1 00
  2 value field u8 = 0
value - Stp::StpBpduFlags declared attr 1 00
  2 value field u8 = 0
  258 tc bits bool
  259 unused bits u8
  260 tcAck bits bool
value - Stp::RstpBpduFlags declared attr 1 00
  2 value field u8 = 0
  258 proposal bits bool
  259 portRole bits Stp::RstpBpduFlags::PortRole
  260 learning bits bool
  261 forwarding bits bool
  262 agreement bits bool
  263 masterFlag bits bool
enum - Stp::RstpBpduFlags::PortRole u8  master=0 alternateOrBackup=1 root=2 designated=3
value - Stp::MstpConfigDigest none none 16 00000000000000000000000000000000
  2 configDigest0 field u8 = 0
  3 configDigest1 field u8 = 0
  4 configDigest2 field u8 = 0
  5 configDigest3 field u8 = 0
  6 configDigest4 field u8 = 0
  7 configDigest5 field u8 = 0
  8 configDigest6 field u8 = 0
  9 configDigest7 field u8 = 0
  10 configDigest8 field u8 = 0
  11 configDigest9 field u8 = 0
  12 configDigest10 field u8 = 0
  13 configDigest11 field u8 = 0
  14 configDigest12 field u8 = 0
  15 configDigest13 field u8 = 0
  16 configDigest14 field u8 = 0
  17 configDigest15 field u8 = 0
  18 rawByte indexed u8 key u8
value - Stp::InstanceId declared identity 1 0000
  2 value field u16 = 0  minInstanceId..maxInternalInstanceId
  3 hash query u32
  4 minInstanceId const u16 = 0
  5 maxInstanceId const u16 = 4094
  6 maxInternalInstanceId const u16 = 4095
value - Stp::PacketsPerSecond declared none 1 00
  2 value field u8 = 0
value - Stp::PortChannelPortIdAlloc none none 2 0000000000000000
  2 reservedRangeMin field u32 = 0
  3 reservedRangeMax field u32 = 0
union - Stp::VlanIdOrRange declared none 0 000001 varies
  2 single alt Bridging::VlanId = 1
  3 range alt Bridging::VlanIdRange
  4 containsSingle query bool
  5 containsRange query bool
value - Stp::Constants none none 0 -
  2 udpStpStablePkt const String = 'udpStpStable'
  3 superRootMacAddr const Nelka::EthAddr = 00:00:00:00:00:01
enum - Stp::OcStpLinkType u8  P2P=0 SHARED=1
enum - Stp::OcStpEnabledProtocol u8  RSTP=0 MSTP=1 RAPID_PVST=2
)";

constexpr char stpConfig[] = R"(
module StpConfig 7c594dbda97ede94 31
enum - Stp::BpduTypesProcessed u8  stpOnly=0 stpPvst=1
enum - Stp::StpPortMode u8  portModeUnknown=0 portModeAccess=1 portModeTrunk=2
enum - Stp::MismatchedBpduMode u8  accept=0 drop=1
entity - Stp::ConfigBase
  258 maxAgeLow const u32 = 6
  259 maxAgeHigh const u32 = 40
  260 defaultMaxAge const u32 = 20
  261 maxAge attr u32 = 20  maxAgeLow..maxAgeHigh
  262 minBridgeForwardDelay const u32 = 4
  263 maxBridgeForwardDelay const u32 = 30
  264 defaultBridgeForwardDelay const u32 = 15
  265 bridgeForwardDelay attr u32 = 15  minBridgeForwardDelay..maxBridgeForwardDelay
  266 defaultForceProtocolVersion attr Stp::Version = mstp readonly
  267 forceProtocolVersion attr Stp::Version = mstp
  268 version attr Stp::Version = none
  269 superRoot attr bool = false
  270 portChannelPortIdAllocDefault attr Stp::PortChannelPortIdAlloc
  271 portChannelPortIdAlloc attr Stp::PortChannelPortIdAlloc
  272 loopGuardEnabled attr bool = false
  273 loopGuardEnabledDefault const bool = false
  274 portChannelGuardEnabledDefault const bool = false
  275 portChannelGuardEnabled attr bool = false
  276 minTxHoldCount const u8 = 1
  277 maxTxHoldCount const u8 = 10
  278 defaultTxHoldCount const u8 = 6
  279 txHoldCount attr Stp::PacketsPerSecond = 6  minTxHoldCount..maxTxHoldCount
  280 maxHopsLow const u8 = 1
  281 maxHopsHigh const u8 = 40
  282 defaultMaxHops const u8 = 20
  283 maxHops attr u8 = 20  maxHopsLow..maxHopsHigh
  284 minBridgeHelloTime const u32 = 200
  285 maxBridgeHelloTime const u32 = 10000
  286 defaultBridgeHelloTime const u32 = 2000
  287 bridgeHelloTime attr u32 = 2000  minBridgeHelloTime..maxBridgeHelloTime
  288 rateLimitInterval attr Seconds = 0
  289 rateLimitMaxCount attr u32 = 0
  290 rateLimitEnabled attr bool = true
  291 rateLimitEnabledDefault const bool = true
  292 bridgeAssurance attr bool = true
  293 bridgeAssuranceDefault const bool = true
  294 portfastBpduguard attr bool = false
  295 portfastBpduguardDefault const bool = false
  296 portfastBpdufilter attr bool = false
  297 portfastBpdufilterDefault const bool = false
  298 mstConfigSpec attr Stp::MstConfigSpec
  299 spanTreeLogging attr Interface::IntfLoggingMode = off
  300 spanTreeLoggingDefault const Interface::IntfLoggingMode = off
  301 backupIntfConfig own Stp::BackupIntfConfig key String
  302 backupToBackupIntfConfig ref Stp::BackupIntfConfig key String
  303 disabledVlan map bool key u16
  304 mstPvstBorder attr bool = false
  305 mstPvstBorderDefault const bool = false
  306 defaultMaxPvstPerPort const u16 = 256
  307 maxPvstPerPortLow const u16 = 64
  308 maxPvstPerPortHigh const u16 = 1024
  309 maxPvstPerPort attr u16 = 256  maxPvstPerPortLow..maxPvstPerPortHigh
  310 defaultMismatchedBpduMode const Stp::MismatchedBpduMode = accept
  311 mismatchedBpduMode attr Stp::MismatchedBpduMode = accept
entity - Stp::Config : Stp::ConfigBase factory
  386 bridgeAddr attr Nelka::EthAddr = 00:00:00:00:00:00
  387 bridgeName attr String = ''
  388 migrateTime attr Seconds = 3
  389 portConfig own Stp::PortConfig key String
  390 stpiConfig own Stp::StpiConfig key String
  391 counterUpdateRequestTime attr Seconds = 0
  392 rcvdInfoWhileReset attr u32 = 0
  393 rcvdInfoWhileExpiry attr u8 = 0
  394 peerOvuInProgress attr bool = false
  395 dontEnableAgentToAgentConnection attr bool = false
  396 backupPortsSync const bool = true
entity - Stp::StpiConfig
  258 stpiPortConfig own Stp::StpiPortConfig key String
  259 mstiConfig own Stp::MstiConfig key String
entity - Stp::MstiConfigBase
  258 instanceId param Stp::InstanceId
  259 bridgePriority attr Stp::BridgePriority = 32768
entity - Stp::MstiConfig : Stp::MstiConfigBase
  386 enabled attr bool = false
  387 mstiPortConfig own Stp::MstiPortConfig key String
value - Stp::MstConfigSpec declared none 3 00000000000000000000 varies
  2 regionId field String = ''
  3 configRevision field u16 = 0  minConfigRevision..maxConfigRevision
  4 minConfigRevision const u16 = 0
  5 maxConfigRevision const u16 = 65535
  6 vidToMstiMap field String = ''
entity - Stp::PortConfigBase
  258 extPathCost attr Stp::PathCost = 0
  259 defaultAdminPointToPoint attr Stp::PortConfigBase::AdminPointToPointMacType = autoDetect \
    readonly
  260 adminPointToPointMac attr Stp::PortConfigBase::AdminPointToPointMacType = autoDetect
  261 adminEdgePort attr bool = false
  262 adminEdgePortDefault const bool = false
  263 autoEdgePort attr bool = true
  264 autoEdgePortDefault const bool = true
  265 networkPort attr bool = false
  266 networkPortDefault const bool = false
  267 portfastAuto attr bool = true
  268 portfastAutoDefault const bool = true
  269 mcheckVer counter u16 = 0
  270 bpduguard attr Stp::PortConfigBase::BpduguardEnabledState = bpduguardDefault
  271 bpdufilter attr Stp::PortConfigBase::BpdufilterEnabledState = bpdufilterDefault
  272 guard attr Stp::PortConfigBase::IntfGuardState = guardDefault
  273 rateLimitEnabled attr Stp::PortConfigBase::RateLimitState = rateLimitDefault
  274 rateLimitInterval attr Seconds = 0
  275 rateLimitMaxCount attr u32 = 0
  276 portPriority attr Stp::PortPriority = 128
  277 spanTreeLogging attr Interface::IntfLoggingMode = useGlobal
  278 spanTreeLoggingDefault const Interface::IntfLoggingMode = useGlobal
  279 acceptTaggedPdu attr bool = false
  280 acceptTaggedPduDefault const bool = false
  281 allowedTag attr Bridging::VlanIdOrNone = 0
  282 allowedTagDefault const Bridging::VlanIdOrNone = 0
enum - Stp::PortConfigBase::AdminPointToPointMacType u8  autoDetect=0 forceTrue=1 forceFalse=2 \
    macTypeUnknown=3
enum - Stp::PortConfigBase::BpduguardEnabledState u8  bpduguardDefault=0 bpduguardEnabled=1 \
    bpduguardDisabled=2
enum - Stp::PortConfigBase::BpdufilterEnabledState u8  bpdufilterDefault=0 bpdufilterEnabled=1 \
    bpdufilterDisabled=2
enum - Stp::PortConfigBase::IntfGuardState u8  guardDefault=0 guardDisabled=1 \
    loopguardEnabled=2 rootguardEnabled=3
enum - Stp::PortConfigBase::RateLimitState u8  rateLimitDefault=0 rateLimitOn=1 rateLimitOff=2
entity - Stp::PortConfig : Stp::PortConfigBase
  386 portNumber attr Stp::PortNumber = 0
  387 addr attr Nelka::EthAddr = 00:00:00:00:00:00
  388 portChannelGuardEligible attr bool = false
  389 linkPathCost attr Stp::PathCost = 2000
  390 minPortHelloTime const u32 = 1
  391 maxPortHelloTime const u32 = 10
  392 defaultPortHelloTime const u32 = 2
  393 portHelloTime attr u32 = 2  minPortHelloTime..maxPortHelloTime
  394 restrictedRole attr bool = false
  395 restrictedTcn attr bool = false
entity - Stp::StpiPortConfigBase
  258 extPathCost attr Stp::PathCost = 0
entity - Stp::StpiPortConfig : Stp::StpiPortConfigBase
  386 useIeeeBpdus attr bool = false
  387 usePvstBpdus attr bool = false
  388 vlanId attr Bridging::VlanIdOrNone = 0
  389 untagged attr bool = false
  390 portMode attr Stp::StpPortMode = portModeUnknown
  391 mstiPortConfig ref Stp::MstiPortConfig key Stp::InstanceId
entity - Stp::MstiPortConfigBase
  258 intPathCost attr Stp::PathCost = 0
  259 portPriority attr Stp::PortPriority = 255
entity - Stp::MstiPortConfig : Stp::MstiPortConfigBase
  386 enabled attr bool = false
  387 enabledNonce attr u32 = 0
  388 portStateReflected attr bool = false
entity - Stp::BackupIntfConfig factory
  258 backupIntfName param String
  259 backupPreferredVlans map bool key u16
  260 preemptionDelay attr u16 = 0
  261 defaultPreemptionDelay const u16 = 0
  262 macMoveBurst attr u16 = 0
  263 defaultMacMoveBurst const u16 = 0
  264 interMacMoveBurstDelay attr u16 = 20
  265 defaultInterMacMoveBurstDelay const u16 = 20
  266 initialMacMoveDelay attr u16 = 0
  267 defaultInitialMacMoveDelay const u16 = 0
  268 dstMacAddress attr Nelka::EthAddr = ff:ff:ff:ff:ff:ff
  269 defaultDstMacAddress const Nelka::EthAddr = ff:ff:ff:ff:ff:ff
entity - Stp::Input::Config : Stp::ConfigBase factory
  386 portConfig own Stp::Input::PortConfig key String
  387 stpiConfig own Stp::Input::StpiConfig key String
  388 bridgeAddr attr Nelka::EthAddr = 00:00:00:00:00:00
entity - Stp::Input::ExternalConfig : Stp::Input::Config factory
  514 counterUpdateRequestTime attr Seconds = 0
  515 rcvdInfoWhileReset counter u32 = 0
  516 rcvdInfoWhileExpiry attr u8 = 0
  517 rcvdInfoWhileExpiryDefault attr u8 = 30
  518 peerOvuInProgress attr bool = false
entity - Stp::Input::ConfigReq factory
  258 counterUpdateRequestTime attr Seconds = 0
entity - Stp::Input::PortConfig : Stp::PortConfigBase factory
entity - Stp::Input::StpiConfig factory
  258 stpiPortConfig own Stp::Input::StpiPortConfig key String
  259 mstiConfig own Stp::Input::MstiConfig key String
entity - Stp::Input::StpiPortConfig : Stp::StpiPortConfigBase
entity - Stp::Input::MstiConfig : Stp::MstiConfigBase
  386 mstiPortConfig own Stp::Input::MstiPortConfig key String
entity - Stp::Input::MstiPortConfig : Stp::MstiPortConfigBase
entity - Stp::OCGlobalConfig factory
  258 config attr Stp::OCGlobalConfigContainer
value - Stp::OCGlobalConfigContainer none none 0 000000000000000000 varies
  2 enabledProtocol list Stp::OcStpEnabledProtocol
  3 bpduGuard field bool = false
  4 disabledVlan list Stp::VlanIdOrRange
)";

constexpr char stpStatus[] = R"(
module StpStatus 6ad563b49f15c854 21
entity - Stp::Status factory
  258 version attr Stp::Version = none
  259 stpiStatus own Stp::StpiStatus key String
  260 mstpConfigName attr String = ''
  261 mstpConfigRevisionLevel attr u16 = 0
  262 mstpConfigDigest attr Stp::MstpConfigDigest
  263 stable attr bool = false
  264 lastRestart attr Seconds = 0
  265 stableCounter counter u32 = 0
  266 stableCounterSyncer own Stp::StableCounterSyncer key String
  267 stableDelay attr Seconds = 30
  268 recentlyRestarted query bool
  269 backupIntfStatus own Stp::BackupIntfStatus key String
  270 counterUpdateTime attr Seconds = 0
  271 overriddenBy attr String = ''
  272 overrideCount counter u32 = 0
  273 rcvdInfoWhileResetWhen attr Seconds = 0
  274 vlanMembershipDesired map bool key Nelka::IntfId
  275 vlanMembership own Stp::VlanMembership key Nelka::IntfId
  276 mstPvstBorderEffective attr bool = false
  277 txDoneByStpAgent attr bool = false
  278 rxDoneByStpAgent attr bool = false
  279 peerHeartbeatWhileEnabled attr bool = false
  280 localRcvdInfoWhileTimeout attr Seconds = 12
  281 peerRcvdInfoWhileTimeout attr Seconds = 18
  282 localHeartbeatTimeoutsSinceReboot counter u32 = 0
  283 peerHeartbeatTimeoutsSinceReboot counter u32 = 0
  284 lastLocalHeartbeatTimeout attr Seconds = 0
  285 lastPeerHeartbeatTimeout attr Seconds = 0
  286 superRoot attr bool = false
  287 lastUnstableReason attr String = ''
entity - Stp::StpiStatus
  258 cistRoot attr Stp::BridgeId
  259 cistPathCost attr Stp::PathCost = 1
  260 bridgeTimes attr Stp::TimesVector
  261 stpiPortStatus own Stp::StpiPortStatus key String
  262 mstiStatus own Stp::MstiStatus key String nocompare
entity - Stp::StpiPortStatus
  258 creationTime param Seconds
  259 helloWhenRequest map bool key Stp::InstanceId
  260 operEdgePort attr bool = false
  261 autoEdgePort attr bool = false
  262 operPointToPointMac attr bool = true
  263 operExtPathCost attr Stp::PathCost = 1
  264 mstpRegionBorder attr bool = false
  265 mstpRegionPvstBorder attr bool = false
  266 mstPvstBorderIncon attr bool = false
  267 counters attr Stp::PortCounters
  268 protocolMigrationState attr Stp::StpiPortStatus::ProtocolMigrationState = checkingRstp
  269 rcvdRstp attr bool = false
  270 rcvdStp attr bool = false
  271 rcvdInternal attr bool = false
  272 sendRstp attr bool = false
  273 mcheckVer attr u16 = 0
  274 rcvdTcn attr bool = false
  275 rcvdTcAck attr bool = false
  276 tcAck attr bool = false
  277 bpduCount attr u32 = 0
  278 rateLimitInterval attr Seconds = 0
  279 rateLimitMaxCount attr u32 = 0
  280 rateLimitEnabled attr bool = true
enum - Stp::StpiPortStatus::ProtocolMigrationState u8  checkingRstp=0 sensing=1 selectingStp=2
entity - Stp::MstiStatus
  258 instanceId param Stp::InstanceId
  259 bridgeId attr Stp::BridgeId
  260 lastTopologyChange attr Seconds = 0
  261 tcnCount counter u32 = 0
  262 topologyChangeInProgress attr bool = false
  263 lastTopologyChangePort attr String = ''
  264 designatedRoot attr Stp::BridgeId
  265 rootPathCost attr Stp::PathCost = 1
  266 rootTimes attr Stp::TimesVector
  267 rootPort ptr Stp::MstiPortStatus
  268 counters attr Stp::MstiCounters
  269 mcheckCount attr u32 = 0
  270 mstiPortStatus own Stp::MstiPortStatus key String
  271 reselect attr bool = false
entity - Stp::MstiPortStatus
  258 enabledNonce param u32
  259 state attr Stp::PortState = discarding
  260 transitionsToForwardingCount counter u32 = 0
  261 fdbFlush counter u32 = 0
  262 portId attr Stp::PortId
  263 operIntPathCost attr Stp::PathCost = 1
  264 portPriority attr Stp::PriorityVector
  265 portTimes attr Stp::TimesVector
  266 msgPriority attr Stp::PriorityVector
  267 msgTimes attr Stp::TimesVector
  268 designatedPriority attr Stp::PriorityVector
  269 designatedTimes attr Stp::TimesVector
  270 role attr Stp::MstiPortStatus::Role = disabled
  271 selectedRole attr Stp::MstiPortStatus::Role = disabled
  272 sync attr bool = false
  273 synced attr bool = false
  274 proposing attr bool = false
  275 proposed attr bool = false
  276 agree attr bool = false
  277 agreed attr bool = false
  278 disputed attr bool = false
  279 learn attr bool = false
  280 forward attr bool = false
  281 reRoot attr bool = false
  282 reRooted attr bool = false
  283 rcvdTc attr bool = false
  284 tcProp attr bool = false
  285 sendMaster attr bool = false
  286 mastered attr bool = false
  287 infoInternal attr bool = false
  288 infoIs attr Stp::MstiPortStatus::InfoStatus = infoAged
  289 updtInfo attr bool = false
  290 selected attr bool = false
  291 mstPvstTcAck attr bool = false
  292 inconsistentUpdated attr bool = false
  293 guardStatus attr Stp::MstiPortStatus::GuardStatus = guardDisabled
  294 oldGuardStatus attr Stp::MstiPortStatus::GuardStatus = guardDisabled
  295 bridgeAssuranceStatus attr bool = false
  296 rootGuardInconsistent attr bool = false
  297 loopGuardInconsistent attr bool = false
  298 bridgeAssureInconsistent attr bool = false
enum - Stp::MstiPortStatus::Role u8  disabled=0 root=1 alternate=2 designated=3 backup=4 master=5
enum - Stp::MstiPortStatus::InfoStatus u8  infoDisabled=0 infoAged=1 infoReceived=2 infoMine=3
enum - Stp::MstiPortStatus::GuardStatus u8  guardDisabled=0 loopGuardEnabled=1 rootGuardEnabled=2
value - Stp::PortCounters none none 5 000000000000000000000000000000000000000000000000
  2 bpduTx counter u32 = 0
  3 bpduRx counter u32 = 0
  4 bpduTaggedError counter u32 = 0
  5 bpduOtherError counter u32 = 0
  6 timestamp field Seconds = 0
value - Stp::MstiCounters none none 4 0000000000000000
  2 blockedPortCount field u16 = 0
  3 listenPortCount field u16 = 0
  4 learningPortCount field u16 = 0
  5 forwardingPortCount field u16 = 0
entity - Stp::PortCounterDir factory
  258 portCounters map Stp::PortCounters key String
entity - Stp::BackupIntfStatus
  258 backupIntfName param String
  259 primaryState attr Stp::BackupIntfStatus::BackupIntfState = backupIntfInactive
  260 backupState attr Stp::BackupIntfStatus::BackupIntfState = backupIntfInactive
  261 primaryActiveVlan map bool key u16
  262 backupActiveVlan map bool key u16
enum - Stp::BackupIntfStatus::BackupIntfState u8  backupIntfActive=0 backupIntfInactive=1
entity - Stp::VlanMembership
  258 intfId key Nelka::IntfId
  259 vids map bool key Bridging::VlanId
entity - Stp::StandbyStatus factory
  258 stableCounter counter u32 = 0
  259 standbyReady attr bool = false
  260 restartCounter counter u32 = 0
entity - Stp::StableCounterSyncer factory
  258 stableCounterSynced attr u32 = 0
entity - Stp::StableControlStatus factory
  258 stpStableTimeouts counter u32 = 0
entity - Stp::Topology::Status factory
  258 preserveOriginal2p5GAnd5GCost attr bool = false
  259 bridgeAddrChangeCount counter u32 = 0
entity - Stp::OCGlobalState factory
  258 state attr Stp::OCGlobalStateContainer
value - Stp::OCGlobalStateContainer none none 0 000000000000000000 varies
  2 enabledProtocol list Stp::OcStpEnabledProtocol
  3 bpduGuard field bool = false
  4 disabledVlan list Stp::VlanIdOrRange
)";

constexpr char others[] = R"(
module StpHw 32be5a5bd5db8b19 3
entity 0 Stp::Hw factory
  258 mstiHw own Stp::MstiHw key String
entity 1 Stp::MstiHw factory
  258 mstiPortHw own Stp::MstiPortHw key String
entity 2 Stp::MstiPortHw factory
  258 portState attr Stp::PortState = discarding
  259 active attr bool = false
module StpProtoStatus 96bcc32fabe92805 2
entity 0 Stp::ProtoStatus factory
  258 runMode attr Stp::ProtoStatus::RunMode = runModeNone
  259 overrideCount attr u32 = 0
enum 1 Stp::ProtoStatus::RunMode u8  runModeNone=0 runModeMstp=1 runModePvst=2
module StpQuiesceConfig f7fd46ffb3a3478f 1
entity 0 Stp::QuiesceConfig factory
  258 peerWaitTime attr Seconds = 0
  259 ovuInProgress attr bool = false
  260 overriddenBy attr String = ''
  261 stpConfig cptr Stp::Config
  262 stpNormalOperationStage attr bool = false
module StpQuiesceStatus 53e362083029e8d0 1
entity 0 Stp::QuiesceStatus factory
  258 quiesceMode attr bool = true
module StpOpenConfigInterfaceConfig 9490a77b3b3244c0 4
value 0 Stp::InterfaceConfig none none 4 000000000000000000010000000200 varies
  2 name field Nelka::IntfId
  3 linkType field Stp::OcStpLinkType? = None
  4 edgePort field Stp::OCIntfConfigTypes::OcStpEdgePort? = EDGE_AUTO
  5 bpduGuard field bool? = None
entity 1 Stp::OCInterface
  258 name key Nelka::IntfId
  259 config attr Stp::InterfaceConfig
entity 2 Stp::OCInterfaceConfigDir factory
  258 interface own Stp::OCInterface key Nelka::IntfId
enum 3 Stp::OCIntfConfigTypes::OcStpEdgePort u8  EDGE_ENABLE=0 EDGE_DISABLE=1 EDGE_AUTO=2
module StpOpenConfigInterfaceState face74788678a873 3
value 0 Stp::InterfaceState none none 1 000000000000000000000000010000000200 varies
  2 name field Nelka::IntfId fixed
  3 linkType field Stp::OcStpLinkType = P2P
  4 edgePort field Stp::OCIntfStateTypes::OcStpEdgePort? = EDGE_AUTO
  5 bpduGuard field bool? = None
entity 1 Stp::OCInterfaceStateDir factory
  258 state set Stp::InterfaceState key Nelka::IntfId
enum 2 Stp::OCIntfStateTypes::OcStpEdgePort u8  EDGE_ENABLE=0 EDGE_DISABLE=1 EDGE_AUTO=2
module StpOpenConfigMstp 9f9c340c6e73dbc8 6
value 0 Stp::OCBridgePriority declared none 1 8000
  2 value field u16 = 32768  0..61440 fixed
entity 1 Stp::OCMsti
  258 mstId key u16
  259 config attr Stp::OCMstiConfig
value 2 Stp::OCMstiConfig none none 0 0000800000000000 varies
  2 mstId field u16 = 0
  3 bridgePriority field Stp::OCBridgePriority = 32768
  4 vlan list Stp::VlanIdOrRange
entity 3 Stp::OCMstiConfigDir factory
  258 mstInstance own Stp::OCMsti key u16
value 4 Stp::OCMstiState none none 1 0000800000000000 varies
  2 mstId field u16 = 0 fixed
  3 bridgePriority field Stp::OCBridgePriority = 32768
  4 vlan list Stp::VlanIdOrRange
entity 5 Stp::OCMstiStateDir factory
  258 state set Stp::OCMstiState key u16
)";

struct Tables {
  std::vector<Module> modules;
  std::vector<Type> types;
  std::map<std::string, size_t> byName;
};

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "ExpectedModel: %s\n", what.c_str());
  std::abort();
}

Type parseType(const std::string& kind, std::istringstream& row, const std::string& module) {
  Type type;
  type.module = module;
  type.kind = kind;
  std::string index;
  row >> index >> type.name;
  if (index != "-") type.index = std::stoi(index);
  std::string word;
  if (kind == "enum") {
    row >> word;
    type.wide = word == "i32";
    while (row >> word) {
      const size_t equals = word.find('=');
      type.literals.push_back({word.substr(0, equals), std::stoll(word.substr(equals + 1))});
    }
  } else if (kind == "entity") {
    while (row >> word) {
      if (word == ":") {
        row >> type.base;
      } else if (word == "factory") {
        type.factory = true;
      } else {
        fail(type.name + ": " + word);
      }
    }
  } else {
    row >> type.order >> type.hash >> type.argumentCount >> type.bytes;
    if (type.bytes == "-") type.bytes.clear();
    type.varies = static_cast<bool>(row >> word);
  }
  return type;
}

Member parseMember(const std::string& id, std::istringstream& row) {
  Member member;
  member.id = static_cast<unsigned>(std::stoul(id));
  row >> member.name >> member.kind >> member.type;
  if (member.type.ends_with("?")) {
    member.optional = true;
    member.type.pop_back();
  }
  std::string word;
  while (row >> word) {
    if (word == "key") {
      row >> member.key;
    } else if (word == "=") {
      row >> word;
      member.text = word;
    } else if (word == "readonly") {
      member.readOnly = true;
    } else if (word == "fixed") {
      member.readOnly = member.fixed = true;
    } else if (word == "nocompare") {
      member.noCompare = true;
    } else if (const size_t dots = word.find(".."); dots != std::string::npos) {
      member.low = word.substr(0, dots);
      member.high = word.substr(dots + 2);
    } else {
      fail(member.name + ": " + word);
    }
  }
  return member;
}

Tables parse() {
  Tables tables;
  for (const char* text : {stpTypes, stpConfig, stpStatus, others}) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
      while (line.ends_with('\\')) {
        line.pop_back();
        std::string more;
        std::getline(lines, more);
        line += more;
      }
      std::istringstream row(line);
      std::string first;
      if (!(row >> first)) continue;
      if (first == "module") {
        Module module;
        row >> module.name >> module.record >> module.types;
        tables.modules.push_back(module);
      } else if (first == "enum" || first == "value" || first == "union" || first == "entity") {
        tables.types.push_back(parseType(first, row, tables.modules.back().name));
        tables.byName[tables.types.back().name] = tables.types.size() - 1;
      } else {
        tables.types.back().members.push_back(parseMember(first, row));
      }
    }
  }
  return tables;
}

const Tables& tables() {
  static const Tables parsed = parse();
  return parsed;
}

}  // namespace

const std::vector<Module>& modules() { return tables().modules; }
const std::vector<Type>& types() { return tables().types; }

const Type& type(const std::string& name) {
  const auto at = tables().byName.find(name);
  if (at == tables().byName.end()) fail("no type " + name);
  return tables().types[at->second];
}

std::vector<const Member*> allMembers(const Type& of) {
  std::vector<const Member*> members;
  if (!of.base.empty()) members = allMembers(type(of.base));
  for (const Member& member : of.members) members.push_back(&member);
  return members;
}

const Type& declaringType(const Type& of, const Member& member) {
  for (const Member& own : of.members) {
    if (&own == &member) return of;
  }
  return declaringType(type(of.base), member);
}

uint64_t bound(const Type& of, const std::string& text) {
  for (const Member& member : of.members) {
    if (member.name == text) return std::stoull(*member.text);
  }
  return std::stoull(text);
}

std::string rangeMessage(const Type& of, const Member& member) {
  const auto shown = [&](const std::string& text) {
    return text[0] >= '0' && text[0] <= '9' ? text : of.name + "::" + text;
  };
  return of.name + "::" + member.name + " < " + shown(member.low) + " or > " + shown(member.high) +
         " not allowed";
}

}  // namespace ExpectedModel
