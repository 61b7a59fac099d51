// Stands in for the part of AppKit that the helper uses.
#pragma once

#import <Foundation/Foundation.h>

@interface NSWorkspace : NSObject
+ (NSWorkspace*)sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
@end
