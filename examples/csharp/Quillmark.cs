// SPDX-License-Identifier: MIT
// The component's interfaces as C# sees them, in the order of its type library: a call goes by that order, so
// none may be left out or moved. tests/examples/csharp compares them with it. `tlbimp quillmark.tlb` makes an
// assembly with the same content, if you prefer to reference one.
//
// Documents are objects of MSXML, byte strings and images those of the host's diagnostic library. Both are
// called by the names of their members, for which C# has `dynamic`.
using System;
using System.Runtime.InteropServices;

namespace Quillmark
{
    [ComImport, Guid("30e9688b-26fc-4c75-9935-e297fee8208a")]
    [InterfaceType(ComInterfaceType.InterfaceIsDual)]
    public interface IDiagOnCANReprog
    {
        [DispId(1)] void CANIDs(int RCANId, int XCANId);
        [DispId(2)] object StartDiag { [return: MarshalAs(UnmanagedType.IDispatch)] get; }
        [DispId(3)] void gethisto(
            [MarshalAs(UnmanagedType.IDispatch)] object root,
            [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_DISPATCH)] ref object[] RepHisto,
            [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_DISPATCH)] ref object[] RepReprog,
            [In, Out, MarshalAs(UnmanagedType.IDispatch)] ref object RepIdent);
        [DispId(4)] [return: MarshalAs(UnmanagedType.IDispatch)] object readseed();
        [DispId(5)] [return: MarshalAs(UnmanagedType.IDispatch)] object getseed([MarshalAs(UnmanagedType.IDispatch)] object root);
        [DispId(6)] [return: MarshalAs(UnmanagedType.IDispatch)] object dounlock([MarshalAs(UnmanagedType.IDispatch)] object key);
        [DispId(7)] void checkunlock([MarshalAs(UnmanagedType.IDispatch)] object root);
        [DispId(8)] [return: MarshalAs(UnmanagedType.IDispatch)] object starterase(byte RL);
        [DispId(9)] void checkstarterase([MarshalAs(UnmanagedType.IDispatch)] object root);
        [DispId(10)] [return: MarshalAs(UnmanagedType.IDispatch)] object checkerase();
        [DispId(11)] [return: MarshalAs(UnmanagedType.VariantBool)] bool checkcheckerase([MarshalAs(UnmanagedType.IDispatch)] object root);
        [DispId(12)] void checkdownload([MarshalAs(UnmanagedType.IDispatch)] object root);
        [DispId(13)] [return: MarshalAs(UnmanagedType.IDispatch)] object startroutine(byte Routine);
        [DispId(14)] void checkstartroutine([MarshalAs(UnmanagedType.IDispatch)] object root, byte Routine);
        [DispId(15)] [return: MarshalAs(UnmanagedType.IDispatch)] object routinestatus(byte Routine);
        [DispId(16)] [return: MarshalAs(UnmanagedType.VariantBool)] bool checkroutine([MarshalAs(UnmanagedType.IDispatch)] object root, byte Routine);
        [DispId(17)] [return: MarshalAs(UnmanagedType.IDispatch)] object writelogzone([MarshalAs(UnmanagedType.IDispatch)] object Histo);
        [DispId(18)] void checkwritelogzone([MarshalAs(UnmanagedType.IDispatch)] object root);
        [DispId(19)] void checkupload([MarshalAs(UnmanagedType.IDispatch)] object root, [MarshalAs(UnmanagedType.IDispatch)] object Image);
        [DispId(20)] [return: MarshalAs(UnmanagedType.IDispatch)] object stopcomm();
        [DispId(21)] void ComputeDownload(byte RL, [MarshalAs(UnmanagedType.IDispatch)] object Image, byte FillByte, int IMod, int MaxSize);
        [DispId(22)] void ComputeUpload([MarshalAs(UnmanagedType.IDispatch)] object Map, byte RL);
        [DispId(23)] [return: MarshalAs(UnmanagedType.IDispatch)] object TesterPresent();
        [DispId(24)] void FlowControl(int BS, int STMin);
    }

    [ComVisible(true), Guid("836502ea-fb83-40d3-ae22-6e60e3b8ce44")]
    [InterfaceType(ComInterfaceType.InterfaceIsIDispatch)]
    public interface IDiagOnCANReprogEvents
    {
        [DispId(1)] void XMLReady(
            [MarshalAs(UnmanagedType.IDispatch)] object Node,
            [In, Out, MarshalAs(UnmanagedType.VariantBool)] ref bool Cancel);
    }
}
