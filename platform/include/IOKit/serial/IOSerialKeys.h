// Stand-in for the framework's header: the names of serial services and of their properties.
#pragma once

#define kIOSerialBSDServiceValue "IOSerialBSDClient"
#define kIOSerialBSDTypeKey "IOSerialBSDClientType"
#define kIOSerialBSDAllTypes "IOSerialStream"
#define kIOCalloutDeviceKey "IOCalloutDevice"
