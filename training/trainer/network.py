"""One network in two forms: as it is trained, and as the library runs it."""

import torch
from torch import nn
from torch.nn import functional

from trainer.description import NetworkDescription

# Training divides patches by this many grey levels, which brings values to about 1. The first
# convolution absorbs the factor when the network is written.
PIXEL_UNIT = 64.0


class TrainingNetwork(nn.Module):
    """The network with batch normalisation after every layer.

    A normalisation without a learned scale divides by a positive number and adds a bias for each
    filter. Both commute with a max pool and fold into the convolution before it, and the rectifier
    commutes with a max pool as well. So pools come first here, and leave a quarter of the values for
    the steps after them.
    """

    def __init__(self, description: NetworkDescription, drop: float = 0.0):
        super().__init__()
        self.drop = drop
        self.description = description
        self.convolutions = nn.ModuleList()
        self.norms = nn.ModuleList()
        for stage in description.stages:
            self.convolutions.append(nn.Conv2d(stage.planes, stage.filters, stage.size, bias=False))
            norm = nn.BatchNorm2d(stage.filters)
            norm.weight.requires_grad_(False)
            self.norms.append(norm)
        sides = description.sides()
        self.inputs = [description.stages[i].filters * sides[i] ** 2 for i in description.fc_inputs]
        self.fc = nn.Linear(sum(self.inputs), description.outputs, bias=False)
        self.fc_norm = nn.BatchNorm1d(description.outputs, affine=False)
        self.to(memory_format=torch.channels_last)

    def forward(self, patches: torch.Tensor) -> torch.Tensor:
        """rows x planes x side x side, in units of PIXEL_UNIT, to unit vectors."""
        outputs = []
        x = patches
        for stage, convolution, norm in zip(self.description.stages, self.convolutions, self.norms):
            x = convolution(x)
            if stage.pool:
                x = functional.max_pool2d(x, stage.pool)
            x = functional.relu(norm(x))
            outputs.append(x)
        flat = torch.cat([outputs[i].flatten(1) for i in self.description.fc_inputs], 1)
        flat = functional.dropout(flat, self.drop, self.training)
        return functional.normalize(self.fc_norm(self.fc(flat)))


def folded(network: TrainingNetwork) -> dict[str, torch.Tensor]:
    """The matrices of the model files, by name, computed in 64 bits."""
    files: dict[str, torch.Tensor] = {}
    description = network.description
    for i, (stage, convolution, norm) in enumerate(
            zip(description.stages, network.convolutions, network.norms)):
        spread = torch.sqrt(norm.running_var.double() + norm.eps)
        weights = convolution.weight.detach().double() / spread[:, None, None, None]
        if i == 0:
            weights = weights / PIXEL_UNIT
        biases = norm.bias.detach().double() - norm.running_mean.double() / spread
        # A column for each filter; a row for each of its elements, plane by plane.
        files[stage.weights] = weights.reshape(stage.filters, -1).T.float().contiguous()
        files[stage.biases] = biases[:, None].float()
    spread = torch.sqrt(network.fc_norm.running_var.double() + network.fc_norm.eps)
    weights = network.fc.weight.detach().double() / spread[:, None]
    for name, part in zip(description.fc_weights, torch.split(weights, network.inputs, 1)):
        files[name] = part.T.float().contiguous()
    files[description.fc_biases] = -(network.fc_norm.running_mean.double() / spread)[None].float()
    return files


class PlainNetwork:
    """The network with the library's layers in the library's order, from the matrices of its files."""

    def __init__(self, description: NetworkDescription, files: dict[str, torch.Tensor]):
        self.description = description
        self.kernels = []
        for stage in description.stages:
            kernel = files[stage.weights].T.reshape(stage.filters, stage.planes, stage.size,
                                                    stage.size)
            self.kernels.append((kernel.contiguous(memory_format=torch.channels_last),
                                 files[stage.biases][:, 0].contiguous()))
        self.fc = [files[name] for name in description.fc_weights]
        self.fc_biases = files[description.fc_biases]

    def outputs(self, patches: torch.Tensor) -> torch.Tensor:
        """rows x planes x side x side in grey levels minus the mean image, to rows x outputs."""
        ends = []
        x = patches
        for stage, (kernel, biases) in zip(self.description.stages, self.kernels):
            x = functional.relu(functional.conv2d(x, kernel, biases))
            if stage.pool:
                x = functional.max_pool2d(x, stage.pool)
            ends.append(x)
        y = self.fc_biases
        for weights, i in zip(self.fc, self.description.fc_inputs):
            y = y + ends[i].flatten(1) @ weights
        return y

    def features(self, patches: torch.Tensor) -> torch.Tensor:
        return functional.normalize(self.outputs(patches), eps=0)
