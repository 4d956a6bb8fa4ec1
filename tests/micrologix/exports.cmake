cmake_minimum_required(VERSION 3.25)

# Catches: a name that leaks out of the plugin (a helper, a template of the
# standard library, an entry point of Qt's that hosts must not see), and one of
# the entry points that got lost.
execute_process(COMMAND ${NM} -DC --defined-only ${PLUGIN}
    OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "\n$" "" listing "${listing}")
string(REPLACE ";" "," listing "${listing}")
string(REPLACE "\n" ";" listing "${listing}")

set(class "(DriverABMicroLogix|CommunicatorCommand|AbstractDeviceInterface|DriverInterface|DriverSetting|DeviceSetting)")
set(allowed
    "CreateDriver" "qt_plugin_instance" "qt_plugin_query_verification_data"
    "${class}::.*" "(vtable|typeinfo|typeinfo name) for ${class}"
    "(non-)?virtual thunk to ${class}::.*"
    "operator(<<|>>)\\(QDataStream&, (DriverSetting|DeviceSetting)( const)?&\\)"
    "is(Bit|Byte|Word|DoubleWord|Block)Command\\(.*" "getBitData\\(.*"
    "update_crc_(ccitt|16|kermit|dnp|32|sick)\\(.*"
    "(UInt8CheckSum|UShortCheckSum|XorUInt8CheckSum|CRC16Calculate)\\(.*"
    "V?(ByteArrayPack|DataPack|DataUnpack)\\(.*"
    "(set|clear|get)Bit\\(.*" "QByteArrayTo(Int|Word|Short)\\(.*" "(word|short|int)ToByteArray\\(.*"
    "appendBigEndianUShort\\(.*" "(fromBigEndian|toLittleEndian|toBigEndian)U(Short|Long)Array\\(.*"
    "To(16|32|64)bitsData\\(.*" "GetSafeDataLen\\(.*" "ToSafeData\\(.*" "NumOf(Bits|Bytes)ToNumOf.*"
    "FitBitArray\\(.*" "clearUnnecessaryBits\\(.*" "ExpandBitsToBytes\\(.*" "CopyBits\\(.*"
    "RightShiftNBits\\(.*" "void RotateArray<unsigned char>\\(.*" "reverseArray\\(.*"
    "(COMPILE|DATABASE)_PATH" "Get(CompilePath|DatabaseName)\\(\\)" "DevStrToHmiPort\\(.*"
    "GetLinkIdAndDefaultStationId\\(.*" "ProcessIsRunning\\(.*" "HRSleep\\(.*"
    "CurrentMSecsSinceBoot\\(\\)" "dumpByteArray\\(.*"
    "ExtractPrefixSymbol\\(.*" "ExtractPLCDeviceAddress\\(.*" "HexToUInt\\(.*"
    "TxPackage::.*" "EmptyPackageSizeList\\(.*"
    "DF1_DLE_(STX|ETX|ENQ|ACK|NAK)"
    "DF1(CRC16|ToDataLinkLayerPacket2?|EscapeDLE|FoldDLE|CheckEscapedDLEData|CountEscapedDLEData)\\(.*"
    "DF1Get(FileType|FileNo|(T4|C5|R6)MnemonicBitNum|WordRangeReadRspLen)\\(.*"
    "DF1WordNameToSubElementNo\\(.*"
    "DF1Extract(T4_C5_R6_Bits|(T4|C5)_MnemonicBits|R6_Mnemonic_Bits|T4_(PRE|ACC)_Bits)\\(.*"
    "DF1Pack(WordRange(Read|Write)|ReadModifyWrite(Words|Bits))(AppLayer)?Cmd\\(.*")

foreach(line ${listing})
    string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" name "${line}")
    list(APPEND names "${name}")
    set(known FALSE)
    foreach(pattern ${allowed})
        if(name MATCHES "^${pattern}$")
            set(known TRUE)
        endif()
    endforeach()
    if(NOT known)
        message(SEND_ERROR "exported, but should be hidden: ${name}")
    endif()
endforeach()
foreach(name CreateDriver qt_plugin_instance qt_plugin_query_verification_data)
    if(NOT name IN_LIST names)
        message(SEND_ERROR "not exported: ${name}")
    endif()
endforeach()
