#pragma once
// Output of ostrel-host: UTF-8 on standard output, tables for people and JSON for scripts.

#include <windows.h>

#include <string>

#include "SrvFrwk_Interface.h"

void Print(const std::wstring& text);       // standard output, UTF-8
void PrintError(const std::wstring& text);  // standard error, UTF-8
std::wstring GuidText(const GUID& guid);
// What a result code of the module means, in a few words.
std::wstring DescribeResult(int32_t result);

void PrintServices(const SrvFrwk::Interface::ArrayOfRowService& rows, bool json);
void PrintProviders(const SrvFrwk::Interface::ArrayOfRowProvider& rows, bool json);
void PrintWebAccess(const SrvFrwk::Interface::WebAccessControlList& list, bool json);
